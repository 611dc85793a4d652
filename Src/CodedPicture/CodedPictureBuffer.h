// The coded bytes of one picture: gathered and scanned for start codes as they arrive, then turned into words
// for the bit reader.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "CodedPicture/CountedRef.h"
#include "CodedPicture/StartCodeTable.h"
#include "Vexmora/HostServices.h"
#include "primitives/BlockDecode.h"

namespace Vexmora {

/// Host memory that is given back when its owner goes.
class HostMemory {
  public:
    /// No memory.
    HostMemory() = default;
    /// inBytes bytes whose address is a multiple of 16. Throws std::bad_alloc if the host has none to give.
    HostMemory(std::uint32_t inBytes, const HostServices& inServices);
    ~HostMemory();
    HostMemory(const HostMemory&) = delete;
    HostMemory& operator=(const HostMemory&) = delete;

    std::uint8_t* Data() const { return mData; }

  private:
    const MemoryHandlesTable* mHandles = nullptr;
    MemoryHandle mHandle = 0;
    std::uint8_t* mData = nullptr;
};

/// Where bit reading begins.
struct ReadPosition {
    /// Byte offset of the word that holds the next bit; a multiple of 4.
    std::uint32_t wordOffset = 0;
    /// Index of the next bit in that word, 31 the most significant.
    std::int32_t bitIndex = 31;
    /// Index of the start-code record that the reader visits next.
    std::uint32_t nextCode = 0;
};

/// Gathers one picture after another in memory of a fixed size. A picture runs up to and including the first
/// picture start code or sequence end code behind its beginning; what was appended behind that is carried
/// over to the next picture. For each picture:
///
///     SetSize(0), ResetScan(), and MoveCarryToFront() if CarrySize() is not 0;
///     ScanForPictureEnd(), and Append() or bytes put at End() and SetSize(), until the scan returns true;
///     SwapWords(); then bit readers read the words.
///
/// One thread fills and scans it. After SwapWords any number may read it and make views of it.
class CodedPictureBuffer {
  public:
    /// A new, empty buffer of inCapacity bytes of host memory. ioTable is the instance's table; it and the
    /// host's function tables outlive the buffer. Throws std::bad_alloc if the host has no memory to give.
    [[nodiscard]] static CountedRef<CodedPictureBuffer> Create(std::uint32_t inCapacity,
                                                               StartCodeTable& ioTable,
                                                               const HostServices& inServices);

    /// A second buffer over the words of a complete one, whose readers begin at the start code of the slice
    /// inFirstSlice, counted from 0; without such a slice they begin at the end of the data, behind the last
    /// start code. It is only read, has no capacity, and does not keep the source alive.
    [[nodiscard]] static CountedRef<CodedPictureBuffer> CreateSliceView(
        const CountedRef<CodedPictureBuffer>& inSource, std::uint32_t inFirstSlice);

    /// For Create.
    CodedPictureBuffer(std::uint32_t inCapacity, StartCodeTable& ioTable, const HostServices& inServices);
    /// For CreateSliceView.
    CodedPictureBuffer(const CodedPictureBuffer& inSource, const ReadPosition& inStart);

    /// The first of Capacity() bytes; Size() of them are held.
    std::uint8_t* Data() { return mData; }
    const std::uint8_t* Data() const { return mData; }
    std::uint32_t Size() const { return mSize; }
    std::uint32_t Capacity() const { return mCapacity; }
    /// Where the next byte goes; FreeBytes() fit there.
    std::uint8_t* End() { return mData + mSize; }
    std::uint32_t FreeBytes() const { return mCapacity - mSize; }

    /// Sets the number of bytes held, at most Capacity().
    void SetSize(std::uint64_t inSize);
    /// Adds as many of the bytes as fit.
    void Append(std::span<const std::uint8_t> inBytes);

    /// Forgets the start codes and slices found. The carry-over stays.
    void ResetScan();
    /// Looks for start codes in the bytes added since the last scan. True when the picture is complete.
    [[nodiscard]] bool ScanForPictureEnd();
    /// Turns each four bytes into a 32-bit word in host order, up to the word that holds the last byte. Bits
    /// of that word behind the picture are 0, as are kZeroBytesBehindWords bytes behind it, so that wild data
    /// is read the same wherever it lies, and no reader has to look out for the end at every code.
    void SwapWords();

    /// Bytes behind the picture that belong to the next one.
    std::uint32_t CarrySize() const { return mCarrySize; }
    void ClearCarry() { mCarrySize = mCarryOffset = 0; }
    /// Makes the carry-over the buffer's content. Nothing happens without a carry-over.
    void MoveCarryToFront();

    const StartCodeTable& StartCodes() const { return *mTable; }
    /// Slices found in the picture.
    std::uint32_t SliceCount() const { return mSliceCount; }
    /// Whether the slices of a picture of inHeight lines begin its macroblock rows one by one in order, so
    /// that they can be decoded in parallel. One further slice may follow in a row beyond the picture.
    bool OneSlicePerRow(std::uint32_t inHeight) const;

    /// Where readers begin: the first bit, or a view's slice.
    const ReadPosition& Start() const { return mStart; }

  private:
    void Record(std::uint32_t inCode, std::uint32_t inPosition);

    const HostMemory mMemory;  // empty in a view
    std::uint8_t* const mData;
    const std::uint32_t mCapacity;
    StartCodeTable* const mTable;
    const ReadPosition mStart;

    std::uint32_t mSize = 0;
    std::uint32_t mScanPosition = 0;
    std::uint32_t mSliceCount = 0;
    std::uint32_t mCarryOffset = 0;
    std::uint32_t mCarrySize = 0;
    // What zeros took the place of behind the picture; the carry-over begins there.
    std::array<std::uint8_t, kZeroBytesBehindWords + 3> mBehindPicture{};
    std::uint32_t mClearedBytes = 0;
};

}  // namespace Vexmora
