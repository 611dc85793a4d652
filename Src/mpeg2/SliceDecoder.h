// Decoding one slice.
#pragma once

#include <cstdint>

#include "mpeg2/BitReader.h"
#include "mpeg2/PictureContext.h"

namespace Vexmora {

/// Decodes the slice that inStartCode begins, and behind which ioReader stands; afterwards the reader stands
/// at the next start code. The first failure ends the slice; in a frame picture the macroblock in error is
/// then painted red. Slices of other chroma formats than 4:2:0 are passed over.
///
/// Slices of one frame picture may be decoded on several threads, each with its own reader.
DecodeStatus DecodeSlice(const PictureContext& inPicture, BitReader& ioReader, std::uint32_t inStartCode);

}  // namespace Vexmora
