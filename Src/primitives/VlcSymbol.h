// Decoding one variable-length code. Inline, because it is short and headers of macroblocks are made of it.
#pragma once

#include "primitives/BitWindow.h"
#include "primitives/VlcTable.h"

namespace Vexmora {

/// Decodes one code and moves behind it. BadCode if the table has no such code, OutOfData if it ends behind
/// the data; place and value are then left as they were. The table is not empty.
inline PrimitiveStatus DecodeVlcSymbol(BitWindow& ioBits, const VlcTable& inTable, std::int32_t& outValue) {
    constexpr std::int32_t kAllBits = BitWindow::kWindowBits;
    std::uint64_t bits = ioBits.bits;
    std::int32_t stageBits = inTable.firstBits;
    VlcEntry entry = inTable.entries[bits >> (kAllBits - stageBits)];
    while (entry.length < 0) [[unlikely]] {
            bits <<= stageBits;
            stageBits = -entry.length;
            entry =
                inTable.entries[static_cast<std::uint64_t>(entry.value) + (bits >> (kAllBits - stageBits))];
        }
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    BitWindow behind = ioBits;
    behind.Skip(static_cast<unsigned>(entry.length));
    if (behind.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    ioBits = behind;
    outValue = entry.value;
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
