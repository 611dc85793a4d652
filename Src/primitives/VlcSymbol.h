// Decoding one variable-length code. Inline, because it is short and headers of macroblocks are made of it.
#pragma once

#include "primitives/BitWindow.h"
#include "primitives/VlcTable.h"

namespace Vexmora {

/// The entry that the next bits, from the top of inBits down, lead to. The table is not empty.
inline VlcEntry FindCode(const VlcTable& inTable, std::uint64_t inBits) {
    constexpr std::int32_t kAllBits = BitWindow::kWindowBits;
    const VlcEntry* const entries = inTable.entries.data();
    std::int32_t bits = inTable.firstBits;
    VlcEntry entry = entries[inBits >> (kAllBits - bits)];
    while (entry.length < 0) [[unlikely]] {
            inBits <<= bits;
            bits = -entry.length;
            entry = entries[static_cast<std::uint64_t>(entry.value) + (inBits >> (kAllBits - bits))];
        }
    return entry;
}

/// Decodes one code and moves behind it. BadCode if the table has no such code, OutOfData if it ends behind
/// the data; place and value are then left as they were.
inline PrimitiveStatus DecodeVlcSymbol(BitWindow& ioBits, const VlcTable& inTable, std::int32_t& outValue) {
    const VlcEntry entry = FindCode(inTable, ioBits.Bits());
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    BitWindow behind = ioBits;
    behind.Skip(static_cast<unsigned>(entry.length));
    if (behind.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    ioBits = behind;
    outValue = entry.value;
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
