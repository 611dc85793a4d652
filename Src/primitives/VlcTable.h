// Decoding tables of variable-length codes, built from code lists.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "primitives/PrimitiveStatus.h"

namespace Vexmora {

/// The codes of a table as numbers: the maximum code length, the number of look-up stages, the bits that each
/// stage looks at, then for each code length from 1 to the maximum the number of codes of that length and the
/// codes, and at last kVlcListEnd. A code is (code, value); in a run-level list it is (code, run, level), the
/// sign bit that follows the code not being part of it.
using VlcList = std::span<const std::int32_t>;

inline constexpr std::int32_t kVlcListEnd = -1;

/// Runs that stand for something else in a run-level list, with a level of 0 and without a sign bit. They
/// exceed every real run, so that adding one of them always leaves the block.
inline constexpr std::int32_t kRunEndOfBlock = 64;
/// A 6-bit run and a signed 12-bit level follow the code.
inline constexpr std::int32_t kRunEscape = 65;
/// Only in decoding tables: no code of the list begins like this.
inline constexpr std::int32_t kRunNoCode = 66;

/// What the bits of a look-up stage lead to.
struct VlcEntry {
    /// The code's value; in a link the index of the next stage's first entry.
    std::int32_t value = 0;
    /// Bits of the whole code; 0 where there is no code; in a link the negative number of bits of the next
    /// stage.
    std::int32_t length = 0;
};

/// Decoding table of plain codes. Stage one is indexed by the next firstBits bits.
struct VlcTable {
    std::vector<VlcEntry> entries;
    std::int32_t firstBits = 0;
};

/// As VlcEntry for a coefficient code with its sign bit. In a link the level is the index and the run the
/// number of bits of the next stage, and the length is negative.
struct RunLevelEntry {
    std::int16_t level = 0;
    std::uint8_t run = kRunNoCode;
    std::int8_t length = 0;
};

/// Decoding table of DCT coefficient codes.
struct RunLevelTable {
    std::vector<RunLevelEntry> entries;
    std::int32_t firstBits = 0;
};

/// Builds outTable from a list; on failure (BadTable) it is left empty. Throws std::bad_alloc.
PrimitiveStatus BuildVlcTable(VlcList inList, VlcTable& outTable);
/// The same for a run-level list.
PrimitiveStatus BuildRunLevelTable(VlcList inList, RunLevelTable& outTable);

/// Releases the table's memory and leaves a table that decodes nothing.
void FreeVlcTable(VlcTable& ioTable);
void FreeVlcTable(RunLevelTable& ioTable);

}  // namespace Vexmora
