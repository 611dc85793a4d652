// Decoding one variable-length code. Inline, because it is short and headers of macroblocks are made of it.
#pragma once

#include "primitives/BitWindow.h"
#include "primitives/VlcTable.h"

namespace Vexmora {

/// The code that comes next, its length 0 if the table, which is not empty, has no such code.
inline VlcEntry FindVlcEntry(const BitWindow& inBits, const VlcTable& inTable) {
    constexpr std::int32_t kAllBits = BitWindow::kWindowBits;
    std::uint64_t bits = inBits.bits;
    std::int32_t stageBits = inTable.firstBits;
    VlcEntry entry = inTable.entries[bits >> (kAllBits - stageBits)];
    while (entry.length < 0) [[unlikely]] {
            bits <<= stageBits;
            stageBits = -entry.length;
            entry =
                inTable.entries[static_cast<std::uint64_t>(entry.value) + (bits >> (kAllBits - stageBits))];
        }
    return entry;
}

/// Whether the next inCount bits lie in the data.
inline bool HoldsBits(const BitWindow& inBits, unsigned inCount) {
    return inBits.NextBit() + inCount <= inBits.wordCount * BitWindow::kWordBits;
}

/// Decodes one code and moves behind it. BadCode if the table has no such code, OutOfData if it ends behind
/// the data; place and value are then left as they were. The table is not empty.
inline PrimitiveStatus DecodeVlcSymbol(BitWindow& ioBits, const VlcTable& inTable, std::int32_t& outValue) {
    const VlcEntry entry = FindVlcEntry(ioBits, inTable);
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    const auto length = static_cast<unsigned>(entry.length);
    if (!HoldsBits(ioBits, length)) return PrimitiveStatus::OutOfData;
    ioBits.Skip(length);
    outValue = entry.value;
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
