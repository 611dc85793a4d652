// The orders in which the coefficients of a block are transmitted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// The raster position of each transmitted coefficient.
using ScanOrder = std::array<std::uint8_t, 64>;

/// Zigzag scan, scan[0] (ISO/IEC 13818-2, figure 7-2). Quantiser matrices are transmitted in it, too.
inline constexpr ScanOrder kZigzagScan = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,   //
    12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,  //
    35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,  //
    58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

/// Alternate scan, scan[1] (figure 7-3).
inline constexpr ScanOrder kAlternateScan = {
    0,  8,  16, 24, 1, 9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49,  //
    41, 33, 26, 18, 3, 11, 4,  12, 19, 27, 34, 42, 50, 58, 35, 43,  //
    51, 59, 20, 28, 5, 13, 6,  14, 21, 29, 36, 44, 52, 60, 37, 45,  //
    53, 61, 22, 30, 7, 15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63,
};

/// Whether inScan visits each position once.
constexpr bool VisitsAllPositions(const ScanOrder& inScan) {
    std::uint64_t visited = 0;
    for (const std::uint8_t position : inScan) visited |= std::uint64_t{1} << position;
    return visited == ~std::uint64_t{0};
}
/// The same order for coefficients that lie column by column.
constexpr ScanOrder ByColumns(const ScanOrder& inScan) {
    ScanOrder scan{};
    for (std::size_t i = 0; i < scan.size(); ++i) {
        scan[i] = static_cast<std::uint8_t>(inScan[i] % 8 * 8 + inScan[i] / 8);
    }
    return scan;
}
inline constexpr ScanOrder kZigzagScanByColumns = ByColumns(kZigzagScan);
inline constexpr ScanOrder kAlternateScanByColumns = ByColumns(kAlternateScan);

static_assert(VisitsAllPositions(kZigzagScan) && VisitsAllPositions(kAlternateScan));

}  // namespace Vexmora
