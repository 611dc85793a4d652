// A place in coded data and the bits that come next there, as the decoding primitives take it and give it
// back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vexmora {

/// What a BitWindow consists of, for primitives that keep it in registers.
struct BitWindowState {
    std::uint64_t bits = 0;       // the next bits, from the top; bits that are not valid are right or 0
    std::uint32_t validBits = 0;  // 32 to 63 between calls
    std::size_t nextWord = 0;     // the first word that is not in bits; counts on behind the end
    const std::uint8_t* data = nullptr;
    std::size_t wordCount = 0;
};

/// Reads coded data that is stored as 32-bit words in host order, the first bit of the stream in the most
/// significant bit of the first word. Nothing is read beyond the words; zero bits come there, as many as
/// asked for. Owns nothing and is cheap to copy.
class BitWindow : public BitWindowState {
  public:
    static constexpr unsigned kWordBits = 32;
    static constexpr unsigned kWordBytes = 4;
    static constexpr unsigned kWindowBits = 64;

    BitWindow(const std::uint8_t* inData, std::size_t inWordCount, std::size_t inBit)
        : BitWindowState{.data = inData, .wordCount = inWordCount} {
        MoveTo(inBit);
    }

    /// The next inCount bits, 1 to 32, the first one most significant.
    std::uint32_t Show(unsigned inCount) const {
        return static_cast<std::uint32_t>(bits >> (kWindowBits - inCount));
    }
    /// Passes over inCount bits, 0 to 32.
    void Skip(unsigned inCount) {
        bits <<= inCount;
        validBits -= inCount;
        Refill();
    }
    /// Number of the next bit: word n / 32, bit 31 - n % 32 of it.
    std::size_t NextBit() const { return nextWord * kWordBits - validBits; }
    void MoveTo(std::size_t inBit) {
        nextWord = inBit / kWordBits;
        bits = 0;
        validBits = 0;
        Refill();
        Skip(static_cast<unsigned>(inBit % kWordBits));
    }
    /// Whether bits were passed over that lie behind the data.
    bool IsBehindEnd() const { return NextBit() > wordCount * kWordBits; }

  private:
    /// Makes at least 32 bits valid. Without a branch on their number, which no processor could predict: when
    /// there are enough already, the next word's first bits are put in place early, and once more when it is
    /// counted.
    void Refill() {
        std::uint32_t word = 0;
        if (nextWord < wordCount) [[likely]] {
            std::memcpy(&word, data + nextWord * kWordBytes, sizeof word);
        }
        bits |= (std::uint64_t{word} << kWordBits) >> validBits;
        nextWord += (~validBits / kWordBits) & 1;
        validBits |= kWordBits;
    }
};

}  // namespace Vexmora
