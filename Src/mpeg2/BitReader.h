// Reading a coded picture bit by bit and from start code to start code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "CodedPicture/CodedPictureBuffer.h"
#include "primitives/PrimitiveTable.h"

namespace Vexmora {

/// A place in the words of a coded picture. It owns nothing and is cheap to copy; the buffer and its
/// start-code table outlive it and do not change while it reads. Behind the last word of the picture it reads
/// zero bits, as many as asked for, so that wild data can be parsed as it comes.
class BitReader {
  public:
    /// Stands where the buffer's readers begin. The words were swapped before.
    explicit BitReader(const CodedPictureBuffer& inBuffer);

    /// The next inCount bits, 1 to 32, the first one most significant.
    std::uint32_t ShowBits(unsigned inCount) const {
        return static_cast<std::uint32_t>(mWindow >> (kWindowBits - inCount));
    }
    /// Passes over inCount bits, 0 to 32.
    void SkipBits(unsigned inCount) {
        mWindow <<= inCount;
        mValidBits -= inCount;
        Refill();
    }
    /// ShowBits, then SkipBits.
    std::uint32_t GetBits(unsigned inCount) {
        const std::uint32_t bits = ShowBits(inCount);
        SkipBits(inCount);
        return bits;
    }

    /// Decodes one variable-length code and passes over it. False, without moving, if the table has no such
    /// code or it ends behind the data.
    bool GetCode(const PrimitiveTable& inPrimitives, const VlcTable& inTable, std::int32_t& outValue) {
        BitPosition position = Position();
        if (inPrimitives.decodeVlcSymbol(position, inTable, outValue) != PrimitiveStatus::Ok) return false;
        MoveTo(position.nextBit);
        return true;
    }

    /// Where the next bit is, for primitives that read on from there.
    BitPosition Position() const { return {mData, mWordCount, NextBit()}; }
    /// Goes on where a primitive has stopped.
    void Resume(const BitPosition& inPosition) { MoveTo(inPosition.nextBit); }

    /// The bytes held, less the offset of the word with the next bit, less the bytes of that word in which
    /// bits are left, a byte of which only one bit is left not counted. Slices end where it is 0.
    std::int64_t BytesLeft() const;

    /// Moves to the next start code, whose 32 bits then come next, and returns it; 0 without moving if there
    /// is none.
    std::uint32_t PeekStartCode();
    /// Passes over the start code that PeekStartCode moved to and returns it; 0 without moving if there is
    /// none.
    std::uint32_t ConsumeStartCode();
    /// Takes ConsumeStartCode back, if the reader stands directly behind the start code.
    void UnconsumeStartCode();

    /// NextStartCode found none.
    static constexpr std::int32_t kNoStartCode = -1;
    /// Moves behind the next start code and returns it, or kNoStartCode without moving.
    std::int32_t NextStartCode();
    /// Moves behind the start code before the next one, and makes it the next one again.
    void UngetStartCode();

  private:
    static constexpr unsigned kWordBits = 32;
    static constexpr unsigned kWordBytes = 4;
    static constexpr unsigned kWindowBits = 64;

    /// Makes at least 32 bits valid. Without a branch on their number, which no processor could predict: when
    /// there are enough already, the next word's first bits are put in place early, and once more when it is
    /// counted.
    void Refill() {
        std::uint32_t word = 0;
        if (mNextWord < mWordCount) [[likely]] {
            std::memcpy(&word, mData + mNextWord * kWordBytes, sizeof word);
        }
        mWindow |= (std::uint64_t{word} << kWordBits) >> mValidBits;
        const unsigned words = (kWindowBits - 1 - mValidBits) / kWordBits;
        mNextWord += words;
        mValidBits += words * kWordBits;
    }
    void MoveTo(std::size_t inBit);
    /// Number of the next bit, from the beginning of the data.
    std::size_t NextBit() const { return mNextWord * kWordBits - mValidBits; }
    const StartCodeRecord* NextRecord() const;

    std::uint64_t mWindow = 0;  // the next bits, from the top; bits that are not valid are right or 0
    unsigned mValidBits = 0;    // 32 to 63 between calls
    std::size_t mNextWord = 0;  // the first word that is not in the window; counts on behind the end
    const std::uint8_t* mData;
    std::size_t mWordCount;
    std::uint32_t mSize;
    std::uint32_t mNextCode;
    const StartCodeTable* mTable;
};

}  // namespace Vexmora
