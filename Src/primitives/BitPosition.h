// Where a reader stands in coded data, as the decoding primitives take it and give it back.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// A place in coded data that is stored as 32-bit words in host order, the first bit of the stream in the
/// most significant bit of the first word. Nothing is read beyond the words counted here; primitives see zero
/// bits there.
struct BitPosition {
    const std::uint8_t* data = nullptr;
    std::size_t wordCount = 0;
    /// The next unread bit, counted from the beginning of the data: word nextBit / 32, bit 31 - nextBit % 32
    /// of it.
    std::size_t nextBit = 0;
};

}  // namespace Vexmora
