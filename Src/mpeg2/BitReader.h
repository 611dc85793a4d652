// Reading a coded picture bit by bit and from start code to start code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "CodedPicture/CodedPictureBuffer.h"
#include "primitives/VlcSymbol.h"

namespace Vexmora {

/// A place in the words of a coded picture. It owns nothing and is cheap to copy; the buffer and its
/// start-code table outlive it and do not change while it reads. Behind the last word of the picture it reads
/// zero bits, as many as asked for, so that wild data can be parsed as it comes.
class BitReader {
  public:
    /// Stands where the buffer's readers begin. The words were swapped before.
    explicit BitReader(const CodedPictureBuffer& inBuffer);

    /// The next inCount bits, 1 to 32, the first one most significant.
    std::uint32_t ShowBits(unsigned inCount) const { return mBits.Show(inCount); }
    /// Passes over inCount bits, 0 to 32.
    void SkipBits(unsigned inCount) { mBits.Skip(inCount); }
    /// ShowBits, then SkipBits.
    std::uint32_t GetBits(unsigned inCount) {
        const std::uint32_t bits = ShowBits(inCount);
        SkipBits(inCount);
        return bits;
    }

    /// Decodes one variable-length code and passes over it. False, without moving, if the table has no such
    /// code or it ends behind the data.
    bool GetCode(const VlcTable& inTable, std::int32_t& outValue) {
        return DecodeVlcSymbol(mBits, inTable, outValue) == PrimitiveStatus::Ok;
    }

    /// The next bits, for primitives that read on from there.
    BitWindow& Bits() { return mBits; }

    /// The bytes held, less the offset of the word with the next bit, less the bytes of that word in which
    /// bits are left, a byte of which only one bit is left not counted. Slices end where it is 0.
    std::int64_t BytesLeft() const {
        constexpr unsigned kWordBits = BitWindow::kWordBits;
        const std::size_t bit = mBits.NextBit();
        const auto wordOffset = static_cast<std::int64_t>(bit / kWordBits * BitWindow::kWordBytes);
        const auto bitIndex = static_cast<std::int64_t>(kWordBits - 1 - bit % kWordBits);
        return std::int64_t{mSize} - wordOffset - ((bitIndex + 7) >> 3);
    }

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
    /// Makes the start code behind the next slice's the next one, without moving.
    void PassSlice();
    /// Moves behind the start code before the next one, and makes it the next one again.
    void UngetStartCode();

  private:
    const StartCodeRecord* NextRecord() const;

    BitWindow mBits;
    std::uint32_t mSize;
    std::uint32_t mNextCode;
    const StartCodeTable* mTable;
};

}  // namespace Vexmora
