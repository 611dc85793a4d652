// How large the planes of a sequence are.
#pragma once

#include <algorithm>
#include <cstdint>

#include "mpeg2/YV12Frame.h"

namespace Vexmora {

/// Bytes of a plane of luma and of each of chroma.
struct PlaneSizes {
    std::uint32_t luma = 0;
    std::uint32_t chroma = 0;
};

/// For any scale. The usual sizes leave 128 lines to spare; narrow and small pictures need more, because rows
/// are padded and macroblocks are written whole.
constexpr PlaneSizes PlaneSizesOf(const SequenceHeader& inSequence) {
    if (inSequence.horizontalSize == 0 || inSequence.verticalSize == 0) return {};
    const std::uint32_t usual = inSequence.horizontalSize * (inSequence.verticalSize + 128);
    const std::uint32_t rows = PlaneMacroblockRows(inSequence);
    const PlanePitches pitches = PitchesAt(DecodeScale::Full, inSequence.lumaStride);
    return {std::max(usual, pitches.luma * rows * 16), std::max(usual / 4, pitches.chroma * rows * 8)};
}

/// Whether pictures of one sequence can be decoded into planes that were made for those of another.
constexpr bool FitsPlanesOf(const SequenceHeader& inOther, const SequenceHeader& inSequence) {
    const PlaneSizes room = PlaneSizesOf(inOther);
    const PlaneSizes needed = PlaneSizesOf(inSequence);
    return inSequence.horizontalSize == inOther.horizontalSize &&
           inSequence.verticalSize == inOther.verticalSize &&
           inSequence.chromaBlocks == inOther.chromaBlocks && needed.luma <= room.luma &&
           needed.chroma <= room.chroma;
}

}  // namespace Vexmora
