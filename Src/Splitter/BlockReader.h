// Reads a media file in large blocks that are shared through the host's cache, and offers its bytes one by
// one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Orvet/AsyncFileReader.h"
#include "Orvet/File.h"
#include "Splitter/ReadStatus.h"
#include "Splitter/Splitter_HostServices.h"
#include "Vexmora/UTF16String.h"

namespace Vexmora {

/// A file with a read position. Every read first makes the block around the position the current one, from
/// the host's cache or from the file, and asks for the block behind it ahead of time; within the block, reads
/// touch neither file nor host. Reads answer EndOfData at the end of the file, ServiceFailed when the host
/// has no memory, FileFailed when the file cannot be read. A file that turns out shorter than it was ends
/// where it ends now. One thread at a time.
class BlockReader {
  public:
    static constexpr std::uint32_t kLeastBlockSize = 0x12D000;

    /// Blocks are cached under inCacheId (0: there is no cache and nothing is read ahead). They are
    /// inLeastBlockSize bytes large, or the disk's transfer size if that is more.
    BlockReader(std::uint32_t inCacheId, std::uint32_t inLeastBlockSize)
        : mCacheId(inCacheId), mBlockSize(inLeastBlockSize) {}
    ~BlockReader() { CloseFile(); }
    BlockReader(const BlockReader&) = delete;
    BlockReader& operator=(const BlockReader&) = delete;

    /// Opens a file of at least one byte, the position at its start. Called once. FileFailed on any failure,
    /// after which only CloseFile may follow.
    ReadStatus OpenFile(const UTF16String& inPath);
    /// Waits for a read-ahead under way and releases the current block.
    void CloseFile();
    bool IsOpen() const { return mFile.IsOpen(); }

    ReadStatus ReadUInt8(std::uint8_t& outValue) {
        if (const ReadStatus status = LoadBlock(); status != ReadStatus::Ok) return status;
        outValue = *Here();
        ++mPosition;
        return ReadStatus::Ok;
    }
    /// Big-endian. Bytes beyond the end of the file are zeros if there is at least one byte before.
    ReadStatus ReadUInt16(std::uint16_t& outValue) {
        std::uint32_t value = 0;
        const ReadStatus status = ReadBigEndian<2>(value);
        outValue = static_cast<std::uint16_t>(value);
        return status;
    }
    ReadStatus ReadUInt32(std::uint32_t& outValue) {
        outValue = 0;
        return ReadBigEndian<4>(outValue);
    }
    /// Reads inCount bytes, of which outGot come from the file; the others are set to zero. Ok at the end of
    /// the file when outGot is not 0.
    ReadStatus Read(std::uint8_t* outBytes, std::uint32_t inCount, std::uint32_t& outGot);

    /// Moves the position, which may then lie anywhere, without reading.
    void Skip(std::int64_t inDelta) { mPosition += inDelta; }
    void SetPosition(std::int64_t inPosition) { mPosition = inPosition; }

    /// With the position behind a PES packet's length field: the bytes of its header from there to the
    /// payload (ISO/IEC 13818-1, 2.4.3.6). The position stays on success.
    ReadStatus PeekPESHeaderSize(std::uint32_t& outSize);

    /// Moves just past the next start code inCode (0x100 to 0x1FF). outFound is the last start code met. A
    /// start code passed over is passed over whole: none begins inside it.
    ReadStatus FindStartCode(std::uint32_t inCode, std::uint32_t& outFound);

    /// The bytes from the position to the end of the current block; none if the position lies outside it.
    std::span<const std::uint8_t> BytesInBlock() const {
        if (!IsInBlock()) return {};
        return {Here(), static_cast<std::size_t>(mBlockBytes - (mPosition - mBlockStart))};
    }

    std::int64_t GetPosition() const { return mPosition; }
    /// Bytes; 0 when no file is open.
    std::int64_t GetFileSize() const { return mFileSize; }
    std::uint32_t BlockSize() const { return mBlockSize; }

  private:
    bool IsInBlock() const {
        return static_cast<std::uint64_t>(mPosition) - static_cast<std::uint64_t>(mBlockStart) < mBlockBytes;
    }
    const std::uint8_t* Here() const { return mBlock.Data() + (mPosition - mBlockStart); }

    /// Makes the block around the position the current one: the first step of every read.
    ReadStatus LoadBlock() {
        if (IsInBlock()) [[likely]]
            return ReadStatus::Ok;
        return LoadOtherBlock();
    }
    ReadStatus LoadOtherBlock();
    ReadStatus ReadBlock(std::int64_t inNumber);
    void ReadAhead(std::int64_t inNumber);
    ReadStatus FindPrefixAcrossBlocks(bool& outFound);
    std::uint32_t BytesOfBlock(std::int64_t inNumber) const;
    void ReleaseBlock();

    template <std::uint32_t kBytes>
    ReadStatus ReadBigEndian(std::uint32_t& outValue) {
        if (const ReadStatus status = LoadBlock(); status != ReadStatus::Ok) return status;
        std::uint8_t copy[kBytes];
        const std::uint8_t* bytes = copy;
        if (const auto here = BytesInBlock(); here.size() >= kBytes) {
            bytes = here.data();
            mPosition += kBytes;
        } else {
            std::uint32_t got = 0;
            if (const ReadStatus status = Read(copy, kBytes, got); status != ReadStatus::Ok) return status;
        }
        for (std::size_t index = 0; index < kBytes; ++index) outValue = outValue << 8 | bytes[index];
        return ReadStatus::Ok;
    }

    const std::uint32_t mCacheId;
    std::uint32_t mBlockSize;
    std::uint32_t mTransferSize = 0;  // what the disk handles best; blocks are aligned to it
    Orvet::File mFile;
    Orvet::AsyncFileReader mAsyncReader;
    std::int64_t mFileSize = 0;
    std::int64_t mPosition = 0;
    HostBlock mBlock;
    std::int64_t mBlockStart = 0;   // file offset of the current block
    std::uint32_t mBlockBytes = 0;  // bytes of the file in it; 0 when there is none
};

}  // namespace Vexmora
