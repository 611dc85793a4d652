// Decoding one slice.
#pragma once

#include <cstdint>

#include "mpeg2/BitReader.h"
#include "mpeg2/PictureContext.h"
#include "mpeg2/QuantisationTables.h"

namespace Vexmora {

/// How far the macroblocks of a slice may reach. By ISO/IEC 13818-2 (6.1.2) it ends in the row in which it
/// begins; wild addresses may call for any place.
enum class SliceReach { Row, Picture };

/// Decodes the slice that inStartCode begins, and behind which ioReader stands; afterwards the reader stands
/// at the next start code. The first failure ends the slice; in a frame picture the macroblock in error is
/// then painted red. InvalidData for a macroblock beyond inReach. Slices of other chroma formats than 4:2:0
/// are passed over.
///
/// Slices of one frame picture that reach no further than their rows may be decoded on several threads, each
/// with its own reader.
DecodeStatus DecodeSlice(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                         BitReader& ioReader, std::uint32_t inStartCode, SliceReach inReach);

}  // namespace Vexmora
