// Which macroblocks of a picture the library could not decode: it answers Vexmora_Ok for a picture whose
// slices failed, so it is found out from the samples.
//
// 1. Before decoding, marks are written over the first luma line of either parity of every macroblock:
//    samples that alternate between values near 0 and near 255, different ones in neighbouring macroblocks.
//    Chroma needs none, because the library writes all planes of a macroblock or none.
// 2. A macroblock that still bears the marks of one of its lines was not written, or only in part: one field
//    of it could not be predicted, or the picture turned out to be a single field.
// 3. A macroblock in which a slice failed has the colour of errors (red) throughout, and the slice ends
// there.
//    A picture may show the same red, so this is believed only where it has a consequence: the next
//    macroblock in coding order was not written. A slice that failed at the end of its row leaves none; there
//    the macroblock must stand alone, with none of its neighbours red, and with no reference red at its
//    place, from which it could have been predicted. (So one that fails there within a red area is missed.)
// 4. Macroblocks that were not written show the samples of a reference picture afterwards, so that no mark is
//    ever seen or predicted from; the red ones do, where that is wanted.
#pragma once

#include <array>
#include <cstdint>

#include "frames/PictureLayout.h"

namespace VexmoraHost {

/// Step 1. The picture is decoded into these planes next.
void MarkMacroblocks(const PictureLayout& inLayout, const Vexmora::FramePlanes& outPlanes);

/// What becomes of macroblocks in which a slice failed.
enum class Failed { StayRed, AreConcealed };

/// Steps 2 to 4 for a picture that was decoded over the marks.
/// @param inConcealment planes of the same layout to conceal with; null planes for mid grey.
/// @param inReferences planes that the picture was predicted from, or null planes.
/// @return macroblocks of the visible picture that failed or were not written. Throws std::bad_alloc.
std::uint32_t ConcealFailures(const PictureLayout& inLayout, const Vexmora::FramePlanes& inConcealment,
                              const std::array<Vexmora::FramePlanes, 2>& inReferences,
                              const Vexmora::FramePlanes& ioPlanes, Failed inFailed = Failed::StayRed);

/// Makes the whole picture that of inReference; mid grey where that has null planes.
void ConcealAll(const PictureLayout& inLayout, const Vexmora::FramePlanes& inReference,
                const Vexmora::FramePlanes& outPlanes);

}  // namespace VexmoraHost
