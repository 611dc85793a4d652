// What the prediction primitives work on.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// Block sizes, width x height, in the order of the dispatch tables.
enum class BlockSize { k16x16, k16x8, k8x16, k8x8, k8x4, k4x8, k4x4, k4x2 };
inline constexpr std::size_t kBlockSizeCount = 8;

/// Expands inMacro(inArgument, width, height) for every BlockSize, in order.
#define VEXMORA_FOR_BLOCK_SIZES(inMacro, inArgument)                                  \
    inMacro(inArgument, 16, 16) inMacro(inArgument, 16, 8) inMacro(inArgument, 8, 16) \
        inMacro(inArgument, 8, 8) inMacro(inArgument, 8, 4) inMacro(inArgument, 4, 8) \
            inMacro(inArgument, 4, 4) inMacro(inArgument, 4, 2)

/// For that list: the prediction functions of a variant.
#define VEXMORA_INSTANTIATE_PREDICTIONS(inVariant, inWidth, inHeight)                  \
    template PrimitiveStatus PredictBlock_##inVariant<inWidth, inHeight>(              \
        const ReferenceBlock&, const ResidualBlock&, const PixelBlock&);               \
    template PrimitiveStatus PredictBlockBidirectional_##inVariant<inWidth, inHeight>( \
        const ReferenceBlock&, const ReferenceBlock&, const ResidualBlock&, const PixelBlock&);

/// Where a prediction lies between the samples of its reference.
enum class HalfSampleType : std::int32_t { Full = 0, HalfVertical = 4, HalfHorizontal = 8, HalfBoth = 12 };

/// A block in a reference plane, steps in bytes as everywhere. Half-sample types read one column to the right
/// of the block, one row below it, or both; nothing else is read.
struct ReferenceBlock {
    const std::uint8_t* samples = nullptr;
    std::ptrdiff_t step = 0;
    HalfSampleType halfSampleType = HalfSampleType::Full;
};

/// What is added to a prediction; null samples add nothing. Any 16-bit values are allowed.
struct ResidualBlock {
    const std::int16_t* samples = nullptr;
    std::ptrdiff_t stepBytes = 0;
};

/// A block in a plane that is written.
struct PixelBlock {
    std::uint8_t* samples = nullptr;
    std::ptrdiff_t step = 0;
};

}  // namespace Vexmora
