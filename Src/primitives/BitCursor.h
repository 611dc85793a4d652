// A place in coded data that is kept in registers while many codes are read in a row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "primitives/BitWindow.h"
#include "primitives/VlcTable.h"

namespace Vexmora {

/// Whether the words that are read may reach beyond the data, where zero bits come.
enum class Words { AllThere, MayEnd };

/// Reads on from where a BitWindow stands, which it leaves alone until it is told to store its place there.
template <Words kWords>
class BitCursor {
  public:
    explicit BitCursor(const BitWindowState& inState)
        : mBits(inState.bits),
          mValidBits(inState.validBits),
          mNext(inState.data + inState.nextWord * kWordBytes),
          mState(inState),
          mNextWord(inState.nextWord) {}

    std::uint64_t Bits() const { return mBits; }
    /// The inCount bits behind the first inPassed; at most 32 together, inCount not 0.
    std::uint32_t Show(unsigned inPassed, unsigned inCount) const {
        return static_cast<std::uint32_t>(mBits << inPassed >> (64 - inCount));
    }
    /// Passes over inCount % 64 bits, at most 32, and makes 32 valid.
    void Skip(std::uint32_t inCount) {
        mBits <<= inCount % 64;
        mValidBits -= inCount % 64;
        std::uint32_t word = 0;
        if (kWords == Words::AllThere || mNextWord < mState.wordCount) {
            std::memcpy(&word, mNext, sizeof word);
        }
        mBits |= (std::uint64_t{word} << 32) >> mValidBits;
        const std::size_t counted = (~mValidBits / 32) & 1;
        mNext += counted * kWordBytes;
        mNextWord += counted;
        mValidBits |= 32;
    }
    /// Shows and passes over inCount bits, 1 to 32.
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

    /// Whether bits were passed over that lie behind the data.
    bool IsBehindEnd() const {
        return kWords == Words::MayEnd && mNextWord * 32 - mValidBits > mState.wordCount * 32;
    }
    /// False, without storing, if bits were passed over that lie behind the data.
    [[nodiscard]] bool Store(BitWindowState& outState) const {
        if (IsBehindEnd()) return false;
        outState.bits = mBits;
        outState.validBits = mValidBits;
        outState.nextWord = kWords == Words::AllThere
                                ? static_cast<std::size_t>(mNext - mState.data) / kWordBytes
                                : mNextWord;
        return true;
    }

  private:
    static constexpr std::size_t kWordBytes = 4;

    std::uint64_t mBits;
    std::uint32_t mValidBits;
    const std::uint8_t* mNext;
    const BitWindowState& mState;
    std::size_t mNextWord;  // only where the data may end
};

}  // namespace Vexmora
