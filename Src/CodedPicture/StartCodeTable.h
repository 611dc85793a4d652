// Where the start codes of a coded picture are, and which macroblock rows its slices begin.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mpeg_system/StartCodes.h"

namespace Vexmora {

/// One start code, in terms of the buffer's 32-bit words in host order.
struct StartCodeRecord {
    /// 0x100 to 0x1FF.
    std::uint32_t code;
    /// Byte offset of the word that holds the start code's first byte; a multiple of 4.
    std::uint32_t wordOffset;
    /// Index of the start code's first bit in that word: 31 (the most significant), 23, 15 or 7.
    std::int32_t bitIndex;
};

/// The macroblock rows, by slice_vertical_position, in which slices begin, each with its irregularity count:
/// 0 as long as the row's slice stands at its own ordinal place in the picture.
class SliceRowMap {
  public:
    static constexpr std::uint32_t kRows = kLastSliceStartCode - kFirstSliceStartCode + 1;

    SliceRowMap() { Clear(); }
    void Clear() {
        mCounts.fill(kAbsent);
        mSize = 0;
    }

    /// Notes that the picture's slice number inSlice, counted from 0, begins in row inRow (less than kRows).
    void Add(std::uint32_t inRow, std::uint32_t inSlice) {
        std::int32_t& count = mCounts[inRow];
        if (count == kAbsent) {
            ++mSize;
            count = 0;
        }
        count = inRow == inSlice ? 0 : count + 1;
    }

    /// Rows in which a slice begins.
    std::uint32_t Size() const { return mSize; }
    /// Whether a slice begins in row inRow (any value) and the row's count is 0.
    bool IsRegular(std::uint32_t inRow) const { return inRow < kRows && mCounts[inRow] == 0; }

  private:
    static constexpr std::int32_t kAbsent = -1;
    std::array<std::int32_t, kRows> mCounts;
    std::uint32_t mSize;
};

/// Every start code of the current picture in stream order, the one that ends it included. One such table
/// serves all buffers of an instance, and keeps its memory from picture to picture.
struct StartCodeTable {
    std::vector<StartCodeRecord> records;
    SliceRowMap sliceRows;

    void Clear() {
        records.clear();
        sliceRows.Clear();
    }
};

}  // namespace Vexmora
