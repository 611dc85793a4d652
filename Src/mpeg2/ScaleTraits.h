// The geometry of blocks and macroblocks at each decode scale, and the primitives that make them.
#pragma once

#include "mpeg2/YV12Frame.h"
#include "primitives/PrimitiveTable.h"

namespace Vexmora {

/// kBlockWidth x kBlockHeight samples are made of a block; a macroblock is four of them in luma, one in each
/// chroma plane. The block sizes are those of whole predictions and of predictions of one field or one half.
template <DecodeScale kScale>
struct ScaleTraits;

template <>
struct ScaleTraits<DecodeScale::Full> {
    static constexpr int kBlockWidth = 8;
    static constexpr int kBlockHeight = 8;
    static constexpr BlockSize kWholeLuma = BlockSize::k16x16;
    static constexpr BlockSize kWholeChroma = BlockSize::k8x8;
    static constexpr BlockSize kHalfLuma = BlockSize::k16x8;
    static constexpr BlockSize kHalfChroma = BlockSize::k8x4;
    static constexpr TransformToPixels PrimitiveTable::*kToPixels = &PrimitiveTable::inverseDctToPixels;
    static constexpr TransformAddToPixels PrimitiveTable::*kAddToPixels =
        &PrimitiveTable::inverseDctAddToPixels;
};

template <>
struct ScaleTraits<DecodeScale::HalfWidth> {
    static constexpr int kBlockWidth = 4;
    static constexpr int kBlockHeight = 8;
    static constexpr BlockSize kWholeLuma = BlockSize::k8x16;
    static constexpr BlockSize kWholeChroma = BlockSize::k4x8;
    static constexpr BlockSize kHalfLuma = BlockSize::k8x8;
    static constexpr BlockSize kHalfChroma = BlockSize::k4x4;
    static constexpr TransformToPixels PrimitiveTable::*kToPixels = &PrimitiveTable::reducedIdctToPixels;
    static constexpr TransformAddToPixels PrimitiveTable::*kAddToPixels =
        &PrimitiveTable::reducedIdctAddToPixels;
};

template <>
struct ScaleTraits<DecodeScale::Quarter> {
    static constexpr int kBlockWidth = 4;
    static constexpr int kBlockHeight = 4;
    static constexpr BlockSize kWholeLuma = BlockSize::k8x8;
    static constexpr BlockSize kWholeChroma = BlockSize::k4x4;
    static constexpr BlockSize kHalfLuma = BlockSize::k8x4;
    static constexpr BlockSize kHalfChroma = BlockSize::k4x2;
    static constexpr TransformToPixels PrimitiveTable::*kToPixels = &PrimitiveTable::quarterIdctToPixels;
    static constexpr TransformAddToPixels PrimitiveTable::*kAddToPixels =
        &PrimitiveTable::quarterIdctAddToPixels;
};

}  // namespace Vexmora
