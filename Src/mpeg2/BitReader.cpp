// Positioning, and navigation by the start-code table.
#include "mpeg2/BitReader.h"

namespace Vexmora {

namespace {

constexpr unsigned kWordBytes = BitWindow::kWordBytes;
constexpr unsigned kStartCodeBits = 32;

// Number of a start code's first bit.
std::size_t BitOf(std::size_t inWordOffset, std::int32_t inBitIndex) {
    return inWordOffset * 8 + static_cast<std::size_t>(31 - inBitIndex);
}

}  // namespace

BitReader::BitReader(const CodedPictureBuffer& inBuffer)
    : mBits(inBuffer.Data(), (std::size_t{inBuffer.Size()} + kWordBytes - 1) / kWordBytes,
            BitOf(inBuffer.Start().wordOffset, inBuffer.Start().bitIndex)),
      mSize(inBuffer.Size()),
      mNextCode(inBuffer.Start().nextCode),
      mTable(&inBuffer.StartCodes()) {}

const StartCodeRecord* BitReader::NextRecord() const {
    return mNextCode < mTable->records.size() ? &mTable->records[mNextCode] : nullptr;
}

std::uint32_t BitReader::PeekStartCode() {
    const StartCodeRecord* const record = NextRecord();
    if (record == nullptr) return 0;
    mBits.MoveTo(BitOf(record->wordOffset, record->bitIndex));
    return record->code;
}

std::uint32_t BitReader::ConsumeStartCode() {
    const StartCodeRecord* const record = NextRecord();
    if (record == nullptr) return 0;
    SkipBits(kStartCodeBits);
    ++mNextCode;
    return record->code;
}

void BitReader::UnconsumeStartCode() {
    if (mNextCode == 0 || mBits.NextBit() < kStartCodeBits) return;
    --mNextCode;
    mBits.MoveTo(mBits.NextBit() - kStartCodeBits);
}

std::int32_t BitReader::NextStartCode() {
    const StartCodeRecord* const record = NextRecord();
    if (record == nullptr) return kNoStartCode;
    mBits.MoveTo(BitOf(record->wordOffset, record->bitIndex) + kStartCodeBits);
    ++mNextCode;
    return static_cast<std::int32_t>(record->code);
}

void BitReader::PassSlice() {
    for (const StartCodeRecord* record = NextRecord(); record != nullptr; record = NextRecord()) {
        ++mNextCode;
        if (IsSliceStartCode(record->code)) return;
    }
}

void BitReader::UngetStartCode() {
    if (mNextCode == 0) return;
    --mNextCode;
    const StartCodeRecord& record = mTable->records[mNextCode];
    mBits.MoveTo(BitOf(record.wordOffset, record.bitIndex) + kStartCodeBits);
}

}  // namespace Vexmora
