// What the block decoding primitives work on: how a block is coded, and the block that comes out.
#pragma once

#include <cstdint>

#include "primitives/VlcTable.h"

namespace Vexmora {

/// The dequantised coefficients of one block of 8 x 8.
struct CoefficientBlock {
    /// Column by column, so that vertical frequencies lie side by side; each -2048 to 2047.
    alignas(32) std::int16_t values[64];
    /// The bitwise or of the positions of all values that are not 0, but for what mismatch control does to
    /// the last one: 0 says that the DC coefficient stands alone.
    std::uint32_t reach;
};

/// How intra blocks of one component are coded. All pointers are borrowed.
struct IntraBlockCoding {
    VlcTableView<VlcEntry> dcSizeTable;
    VlcTableView<RunLevelEntry> acTable;
    /// The positions of the 64 coefficients in coding order, counted column by column.
    const std::uint8_t* scan = nullptr;
    /// 64 weights, in coding order.
    const std::uint16_t* weights = nullptr;
    /// quantiser_scale, 0 to 112.
    std::int32_t quantiserScale = 0;
    /// intra_dc_mult as a shift, 0 to 3.
    std::int32_t dcShift = 0;
};

/// The same for non-intra blocks.
struct NonIntraBlockCoding {
    /// For the first coefficient of a block.
    VlcTableView<RunLevelEntry> firstTable;
    VlcTableView<RunLevelEntry> acTable;
    const std::uint8_t* scan = nullptr;
    /// Null means 16 everywhere.
    const std::uint16_t* weights = nullptr;
    std::int32_t quantiserScale = 0;
};

}  // namespace Vexmora
