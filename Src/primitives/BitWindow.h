// A place in coded data and the bits that come next there, as the decoding primitives take it and give it
// back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vexmora {

/// Reads coded data that is stored as 32-bit words in host order, the first bit of the stream in the most
/// significant bit of the first word. Nothing is read beyond the words; zero bits come there, as many as
/// asked for. Owns nothing and is cheap to copy.
class BitWindow {
  public:
    static constexpr unsigned kWordBits = 32;
    static constexpr unsigned kWordBytes = 4;
    static constexpr unsigned kWindowBits = 64;

    BitWindow(const std::uint8_t* inData, std::size_t inWordCount, std::size_t inBit)
        : mData(inData), mWordCount(inWordCount) {
        MoveTo(inBit);
    }

    /// The next bits from the top down, 32 of them at least.
    std::uint64_t Bits() const { return mWindow; }
    /// The next inCount bits, 1 to 32, the first one most significant.
    std::uint32_t Show(unsigned inCount) const {
        return static_cast<std::uint32_t>(mWindow >> (kWindowBits - inCount));
    }
    /// Passes over inCount bits, 0 to 32.
    void Skip(unsigned inCount) {
        mWindow <<= inCount;
        mValidBits -= inCount;
        Refill();
    }
    /// Number of the next bit: word n / 32, bit 31 - n % 32 of it.
    std::size_t NextBit() const { return mNextWord * kWordBits - mValidBits; }
    void MoveTo(std::size_t inBit) {
        mNextWord = inBit / kWordBits;
        mWindow = 0;
        mValidBits = 0;
        Refill();
        Skip(static_cast<unsigned>(inBit % kWordBits));
    }
    /// Whether bits were passed over that lie behind the data.
    bool IsBehindEnd() const { return NextBit() > mWordCount * kWordBits; }
    const std::uint8_t* Data() const { return mData; }
    std::size_t WordCount() const { return mWordCount; }

  private:
    /// Makes at least 32 bits valid. Without a branch on their number, which no processor could predict: when
    /// there are enough already, the next word's first bits are put in place early, and once more when it is
    /// counted.
    void Refill() {
        std::uint32_t word = 0;
        if (mNextWord < mWordCount) [[likely]] {
            std::memcpy(&word, mData + mNextWord * kWordBytes, sizeof word);
        }
        mWindow |= (std::uint64_t{word} << kWordBits) >> mValidBits;
        mNextWord += (~mValidBits / kWordBits) & 1;
        mValidBits |= kWordBits;
    }

    std::uint64_t mWindow = 0;  // the next bits, from the top; bits that are not valid are right or 0
    unsigned mValidBits = 0;    // 32 to 63 between calls
    std::size_t mNextWord = 0;  // the first word that is not in the window; counts on behind the end
    const std::uint8_t* mData;
    std::size_t mWordCount;
};

}  // namespace Vexmora
