// A place in coded data that is kept in registers while many codes are read in a row.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "primitives/BitWindow.h"
#include "primitives/VlcTable.h"

namespace Vexmora {

/// Whether zero bytes lie behind the words, as far as anyone reads on there, or must be made up.
enum class Words { AllThere, MayEnd };

/// Reads on from where a BitWindow stands, which it leaves alone until it is told to store its place there.
template <Words kWords>
class BitCursor {
  public:
    explicit BitCursor(const BitWindowState& inState)
        : mBits(inState.bits),
          mValidBits(inState.validBits),
          mNext(inState.data + inState.nextWord * kWordBytes),
          mData(inState.data),
          mWordCount(inState.wordCount) {}

    /// The next bits, from the top: all 64 after Refill, 64 less those passed over since otherwise.
    std::uint64_t Bits() const { return mBits; }
    /// The inCount bits behind the first inPassed, inCount not 0.
    std::uint32_t Show(unsigned inPassed, unsigned inCount) const {
        return static_cast<std::uint32_t>(mBits << inPassed >> (64 - inCount));
    }
    /// Passes over inCount % 64 bits; at most 32 from one Refill to the next.
    void Pass(std::uint32_t inCount) {
        mBits <<= inCount % 64;
        mValidBits -= inCount;
    }
    /// Puts two words behind the bits that are valid, and counts the first one if there is room for all of
    /// it. No branch depends on their number, which no processor could predict.
    void Refill() {
        mBits |= NextWords() >> mValidBits % 64;
        mNext += kWordBytes - (mValidBits / 8 & kWordBytes);  // bit 5 says that there is no room
        mValidBits |= 32;
    }
    void Skip(std::uint32_t inCount) {
        Pass(inCount);
        Refill();
    }
    /// Shows and skips inCount bits, 1 to 32.
    std::uint32_t Take(unsigned inCount) {
        const std::uint32_t bits = Show(0, inCount);
        Skip(inCount);
        return bits;
    }
    /// The code that comes next, its length 0 if the table, which is not empty, has no such code.
    VlcEntry Find(const VlcTable& inTable) const {
        const auto first_bits = static_cast<unsigned>(inTable.firstBits);
        VlcEntry entry = inTable.entries[Show(0, first_bits)];
        for (unsigned passed = first_bits; entry.length < 0;) {
            const auto bits = static_cast<unsigned>(-entry.length);
            entry = inTable.entries[static_cast<std::uint32_t>(entry.value) + Show(passed, bits)];
            passed += bits;
        }
        return entry;
    }

    /// Whether bits were passed over that lie behind the data. For this and Store the bits are refilled.
    bool IsBehindEnd() const { return NextWord() * 32 - mValidBits % 64 > mWordCount * 32; }
    void Store(BitWindowState& outState) const {
        outState.bits = mBits;
        outState.validBits = mValidBits % 64;
        outState.nextWord = NextWord();
    }

  private:
    static constexpr std::size_t kWordBytes = 4;

    std::size_t NextWord() const { return static_cast<std::size_t>(mNext - mData) / kWordBytes; }
    std::uint64_t NextWords() const {
        if (kWords == Words::AllThere || NextWord() + 1 < mWordCount) [[likely]] {
            std::uint64_t both;
            std::memcpy(&both, mNext, sizeof both);
            return std::endian::native == std::endian::little ? std::rotl(both, 32) : both;
        }
        std::uint32_t first = 0;
        if (NextWord() < mWordCount) std::memcpy(&first, mNext, sizeof first);
        return std::uint64_t{first} << 32;
    }

    std::uint64_t mBits;
    // Only the lowest six bits count, so that a number may be taken off that has others above them.
    std::uint32_t mValidBits;
    const std::uint8_t* mNext;  // the first word that is not in mBits
    const std::uint8_t* mData;
    std::size_t mWordCount;
};

}  // namespace Vexmora
