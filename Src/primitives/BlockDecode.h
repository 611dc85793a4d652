// What the block decoding primitives work on: how a block is coded, and the block that comes out.
#pragma once

#include <cstdint>

#include "primitives/VlcTable.h"

namespace Vexmora {

/// The dequantised coefficients of one block of 8 x 8.
struct CoefficientBlock {
    /// Row by row, each -2048 to 2047.
    alignas(32) std::int16_t values[64];
    /// Bit p is clear only if values[p] is 0: transforms pass over what is clear.
    std::uint64_t nonZero;
};

/// How intra blocks of one component are coded. All pointers are borrowed.
struct IntraBlockCoding {
    const VlcTable* dcSizeTable = nullptr;
    const RunLevelTable* acTable = nullptr;
    /// 64 raster positions in coding order.
    const std::uint8_t* scan = nullptr;
    /// 64 weights in raster order.
    const std::uint16_t* weights = nullptr;
    /// quantiser_scale, 0 to 112.
    std::int32_t quantiserScale = 0;
    /// intra_dc_mult as a shift, 0 to 3.
    std::int32_t dcShift = 0;
};

/// The same for non-intra blocks.
struct NonIntraBlockCoding {
    /// For the first coefficient of a block.
    const RunLevelTable* firstTable = nullptr;
    const RunLevelTable* acTable = nullptr;
    const std::uint8_t* scan = nullptr;
    /// Null means 16 everywhere.
    const std::uint16_t* weights = nullptr;
    std::int32_t quantiserScale = 0;
};

}  // namespace Vexmora
