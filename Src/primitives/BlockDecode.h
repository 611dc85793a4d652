// What the block decoding primitives work on: how a block is coded, and the block that comes out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/VlcTable.h"

namespace Vexmora {

/// The dequantised coefficients of one block of 8 x 8.
struct CoefficientBlock {
    /// Column by column, so that vertical frequencies lie side by side; each -2048 to 2047.
    alignas(32) std::int16_t values[64];
    /// 0 says that the DC coefficient stands alone, but for what mismatch control does to the last one.
    std::uint32_t reach;
};

/// The coefficients of a block in coding order: the position of each, counted column by column, in bits 0 to
/// 7, and above them its weight times quantiser_scale, 28 560 at most. So one load serves both.
using ScaledPositions = std::array<std::uint32_t, 64>;

/// inScan holds 64 positions and inWeights as many weights, both in coding order; without weights all are 16.
/// inQuantiserScale is 0 to 112.
static inline void MakeScaledPositions(const std::uint8_t* inScan, const std::uint16_t* inWeights,
                                       std::int32_t inQuantiserScale, ScaledPositions& outPositions) {
    const auto scale = static_cast<std::uint32_t>(inQuantiserScale);
    for (std::size_t i = 0; i < outPositions.size(); ++i) {
        outPositions[i] = (inWeights != nullptr ? inWeights[i] : 16) * scale << 8 | inScan[i];
    }
}

/// What the first stage of every table of coefficients looks at. Known beforehand, it spares a register. With
/// 9 bits, which take less of the cache, three codes would fit between two refills, but a third more codes
/// would need a second look.
inline constexpr std::int32_t kFirstStageBits = 11;

/// The blocks of a macroblock, in the order of coded_block_pattern: four of luma, Cb, Cr.
inline constexpr std::size_t kLumaBlocks = 4;
inline constexpr std::size_t kBlocks = 6;
using CoefficientBlocks = std::array<CoefficientBlock, kBlocks>;

/// Zero bytes that lie behind the words of coded macroblocks: no code of a block is all zeros, so that
/// whoever reads on behind the end stops within them.
inline constexpr std::size_t kZeroBytesBehindWords = 64;

/// How the blocks of intra macroblocks are coded, [luma, chroma]. All pointers are borrowed; the tables of
/// coefficients begin with kFirstStageBits.
struct IntraCoding {
    std::array<VlcTableView<VlcEntry>, 2> dcSizeTables;
    VlcTableView<RunLevelEntry> acTable;
    std::array<const ScaledPositions*, 2> positions{};
    /// intra_dc_mult as a shift, 0 to 3.
    std::int32_t dcShift = 0;
};

/// The same for non-intra macroblocks.
struct NonIntraCoding {
    /// For the first coefficient of a block.
    VlcTableView<RunLevelEntry> firstTable;
    VlcTableView<RunLevelEntry> acTable;
    std::array<const ScaledPositions*, 2> positions{};
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
