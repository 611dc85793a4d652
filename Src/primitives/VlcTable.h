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
/// Only in decoding tables: a link to the next stage.
inline constexpr std::int32_t kRunLink = 67;

/// What the bits of a look-up stage lead to.
struct VlcEntry {
    /// The code's value; in a link the index of the next stage's first entry.
    std::int32_t value = 0;
    /// Bits of the whole code; 0 where there is no code; in a link the negative number of bits of the next
    /// stage.
    std::int32_t length = 0;

    friend bool operator==(const VlcEntry&, const VlcEntry&) = default;
};

/// Decoding table of plain codes. Stage one is indexed by the next firstBits bits.
struct VlcTable {
    std::vector<VlcEntry> entries;
    std::int32_t firstBits = 0;
};

/// As VlcEntry for a coefficient code with its sign bit, packed into one number: the length in bits 0 to 7,
/// the run in bits 8 to 15, the signed level above. A link has the run kRunLink, the number of bits of the
/// next stage as its length and the index as its level.
using RunLevelEntry = std::uint32_t;
constexpr RunLevelEntry MakeRunLevelEntry(std::int32_t inRun, std::int32_t inLevel, std::int32_t inLength) {
    return static_cast<std::uint32_t>(inLevel) << 16 | static_cast<std::uint32_t>(inRun) << 8 |
           static_cast<std::uint32_t>(inLength);
}

/// Decoding table of DCT coefficient codes.
struct RunLevelTable {
    std::vector<RunLevelEntry> entries;
    std::int32_t firstBits = 0;
};

/// A table without its memory, as block decoding takes it; of one that is not built it has a null pointer.
template <typename Entry>
struct VlcTableView {
    const Entry* entries = nullptr;
    std::int32_t firstBits = 0;
};
inline VlcTableView<VlcEntry> ViewOf(const VlcTable& inTable) {
    return {inTable.entries.data(), inTable.firstBits};
}
inline VlcTableView<RunLevelEntry> ViewOf(const RunLevelTable& inTable) {
    return {inTable.entries.data(), inTable.firstBits};
}

/// Builds outTable from a list; on failure (BadTable) it is left empty. Throws std::bad_alloc.
PrimitiveStatus BuildVlcTable(VlcList inList, VlcTable& outTable);
/// The same for a run-level list, which has two stages at most.
PrimitiveStatus BuildRunLevelTable(VlcList inList, RunLevelTable& outTable);

/// Releases the table's memory and leaves a table that decodes nothing.
void FreeVlcTable(VlcTable& ioTable);
void FreeVlcTable(RunLevelTable& ioTable);

}  // namespace Vexmora
