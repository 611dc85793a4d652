// Host memory, the scan for the picture's end, the carry-over, the words, and slice views.
#include "CodedPicture/CodedPictureBuffer.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>

#include "primitives/PrimitiveTable.h"
#include "primitives/StartCodeSearch.h"

namespace Vexmora {

namespace {

static_assert(std::endian::native == std::endian::little, "the words are swapped from stream order");

constexpr std::uint32_t kWordBytes = 4;
constexpr std::uint32_t kStartCodeBytes = 4;
constexpr std::uint32_t kMemoryAlignment = 16;

constexpr std::uint32_t WholeWords(std::uint32_t inBytes) {
    return (inBytes + kWordBytes - 1) & ~(kWordBytes - 1);
}

// The bytes of the words that hold inCapacity bytes, and of the zeros behind them.
std::uint32_t MemoryBytes(std::uint32_t inCapacity) {
    constexpr std::uint32_t kBehind = WholeWords(kZeroBytesBehindWords + kWordBytes - 1);
    if (inCapacity > std::numeric_limits<std::uint32_t>::max() - kBehind) throw std::bad_alloc();
    return WholeWords(inCapacity) + std::uint32_t{kZeroBytesBehindWords};
}

ReadPosition StartOfSlice(const CodedPictureBuffer& inBuffer, std::uint32_t inSlice) {
    const auto& records = inBuffer.StartCodes().records;
    const auto isWanted = [inSlice, passed = std::uint32_t{0}](const StartCodeRecord& inRecord) mutable {
        return IsSliceStartCode(inRecord.code) && passed++ == inSlice;
    };
    const auto found = std::find_if(records.begin(), records.end(), isWanted);
    const auto index = static_cast<std::uint32_t>(found - records.begin());
    if (found == records.end()) return {inBuffer.Size() & ~(kWordBytes - 1), 31, index};
    return {found->wordOffset, found->bitIndex, index};
}

}  // namespace

HostMemory::HostMemory(std::uint32_t inBytes, const HostServices& inServices)
    : mHandles(inServices.memoryHandles) {
    if (inServices.memoryAllocator == nullptr || mHandles == nullptr) throw std::bad_alloc();
    if (inServices.memoryAllocator->Allocate(&mHandle, kMemoryKind, inBytes, kMemoryAlignment) != 0 ||
        mHandle == 0) {
        throw std::bad_alloc();
    }
    if (mHandles->Address(mHandle, kMemoryKind, &mData) != 0 || mData == nullptr) {
        mHandles->Release(mHandle);  // a constructor that throws is not destroyed
        throw std::bad_alloc();
    }
}

HostMemory::~HostMemory() {
    if (mHandle != 0) mHandles->Release(mHandle);
}

CountedRef<CodedPictureBuffer> CodedPictureBuffer::Create(std::uint32_t inCapacity, StartCodeTable& ioTable,
                                                          const HostServices& inServices) {
    return CountedRef<CodedPictureBuffer>::Make(inCapacity, ioTable, inServices);
}

CountedRef<CodedPictureBuffer> CodedPictureBuffer::CreateSliceView(
    const CountedRef<CodedPictureBuffer>& inSource, std::uint32_t inFirstSlice) {
    return CountedRef<CodedPictureBuffer>::Make(*inSource, StartOfSlice(*inSource, inFirstSlice));
}

// The memory is whole words, so that the word with the last byte can be swapped at any size, and zeros.
CodedPictureBuffer::CodedPictureBuffer(std::uint32_t inCapacity, StartCodeTable& ioTable,
                                       const HostServices& inServices)
    : mMemory(MemoryBytes(inCapacity), inServices),
      mData(mMemory.Data()),
      mCapacity(inCapacity),
      mTable(&ioTable),
      mStart() {}

CodedPictureBuffer::CodedPictureBuffer(const CodedPictureBuffer& inSource, const ReadPosition& inStart)
    : mData(inSource.mData), mCapacity(0), mTable(inSource.mTable), mStart(inStart), mSize(inSource.mSize) {}

void CodedPictureBuffer::SetSize(std::uint64_t inSize) {
    mSize = static_cast<std::uint32_t>(std::min<std::uint64_t>(inSize, mCapacity));
}

void CodedPictureBuffer::Append(std::span<const std::uint8_t> inBytes) {
    const std::size_t count = std::min<std::size_t>(inBytes.size(), FreeBytes());
    if (count != 0) std::memcpy(End(), inBytes.data(), count);
    SetSize(mSize + std::uint64_t{count});
}

void CodedPictureBuffer::ResetScan() {
    mTable->Clear();
    mSliceCount = 0;
    mScanPosition = 0;
}

bool CodedPictureBuffer::ScanForPictureEnd() {
    constexpr std::uint32_t kTail = kStartCodeBytes - 1;  // too few bytes for a start code; looked at again
    if (mSize < mScanPosition + std::uint64_t{kStartCodeBytes}) return false;
    const std::uint32_t end = mSize - kTail;
    for (std::uint32_t at = mScanPosition; at < end;) {
        at += static_cast<std::uint32_t>(FindStartCodePrefix(mData + at, end - at));
        if (at == end) break;
        const std::uint32_t code = 0x100 | std::uint32_t{mData[at + kTail]};
        Record(code, at);
        if (code == kPictureStartCode || code == kSequenceEndCode) {
            mCarryOffset = at + kStartCodeBytes;
            mCarrySize = mSize - mCarryOffset;
            mClearedBytes = 0;
            mSize = mCarryOffset;
            mScanPosition = at;
            return true;
        }
        at = std::min(at + kTail, end);  // no prefix begins inside another
    }
    mScanPosition = end;
    return false;
}

void CodedPictureBuffer::Record(std::uint32_t inCode, std::uint32_t inPosition) {
    const std::uint32_t byteInWord = inPosition % kWordBytes;
    mTable->records.push_back(
        {inCode, inPosition - byteInWord, static_cast<std::int32_t>(31 - 8 * byteInWord)});
    if (IsSliceStartCode(inCode)) mTable->sliceRows.Add(inCode - kFirstSliceStartCode, mSliceCount++);
}

void CodedPictureBuffer::SwapWords() {
    mClearedBytes = WholeWords(mSize) - mSize + std::uint32_t{kZeroBytesBehindWords};
    std::memcpy(mBehindPicture.data(), End(), mClearedBytes);
    std::memset(End(), 0, mClearedBytes);
    SelectedPrimitives().swapWords(mData, WholeWords(mSize) / kWordBytes);
}

void CodedPictureBuffer::MoveCarryToFront() {
    if (mCarrySize == 0) return;
    std::memcpy(mData + mCarryOffset, mBehindPicture.data(), std::min(mCarrySize, mClearedBytes));
    std::memmove(mData, mData + mCarryOffset, mCarrySize);
    SetSize(mCarrySize);
    ClearCarry();
}

bool CodedPictureBuffer::OneSlicePerRow(std::uint32_t inHeight) const {
    const SliceRowMap& map = mTable->sliceRows;
    const std::uint32_t rows = inHeight / 16 + (inHeight % 16 != 0);
    if (map.Size() != mSliceCount || (mSliceCount != rows && mSliceCount != rows + 1)) return false;
    for (std::uint32_t row = 0; row < rows; ++row) {
        if (!map.IsRegular(row)) return false;
    }
    return true;
}

}  // namespace Vexmora
