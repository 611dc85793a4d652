// Blocks from the cache or the file, reading ahead, and reads that cross blocks.
#include "Splitter/BlockReader.h"

#include <algorithm>
#include <cstring>

#include "Orvet/DiskUtils.h"
#include "primitives/StartCodeSearch.h"

namespace Vexmora {
namespace {

constexpr std::size_t kPrefixSize = 3;

// Runs on the reader's thread, with what the request says and the process's services as its only means.
void OnReadAheadDone(Orvet::AsyncFileReader& /*ioReader*/, const Orvet::AsyncReadRequest& inRequest,
                     std::uint32_t inBytesRead, std::int32_t inStatus) {
    const auto [cacheId, number, handle] = inRequest.userValues;
    const HostBlock block(handle);
    if (inStatus != 0 || inBytesRead != inRequest.size) return;
    block.AddToCache(static_cast<std::uint32_t>(cacheId), static_cast<std::uint32_t>(number));
}

}  // namespace

ReadStatus BlockReader::OpenFile(const UTF16String& inPath) {
    using namespace Orvet;
    if (DiskUtils::GetEfficientDiskBufferSizeFromPath(inPath, mTransferSize) < 0)
        return ReadStatus::FileFailed;
    if (mFile.Create(inPath, FileAccess::Read, FileShare::ReadDelete, FileDisposition::OpenExisting,
                     FileAttributes::Normal) < 0 ||
        AsyncFileReader::Open(mFile, mAsyncReader) < 0) {
        return ReadStatus::FileFailed;
    }
    const std::int64_t size = mFile.SizeOnDisk();
    if (size <= 0) return ReadStatus::FileFailed;
    mFileSize = size;
    mBlockSize = std::max(mBlockSize, mTransferSize);
    mPosition = 0;
    return ReadStatus::Ok;
}

void BlockReader::CloseFile() {
    mAsyncReader.Close();  // it reads from the file
    mFile.Close();
    ReleaseBlock();
    mFileSize = 0;
}

void BlockReader::ReleaseBlock() {
    mBlock.Release();
    mBlockBytes = 0;
}

std::uint32_t BlockReader::BytesOfBlock(std::int64_t inNumber) const {
    return static_cast<std::uint32_t>(std::min<std::int64_t>(mBlockSize, mFileSize - inNumber * mBlockSize));
}

ReadStatus BlockReader::LoadOtherBlock() {
    if (mPosition >= mFileSize) return ReadStatus::EndOfData;
    if (mPosition < 0) return ReadStatus::FileFailed;  // an offset from a damaged index
    ReleaseBlock();
    const std::int64_t number = mPosition / mBlockSize;
    if (mCacheId != 0 && mBlock.Find(mCacheId, static_cast<std::uint32_t>(number))) {
        if (!mBlock.TakeAddress()) {
            ReleaseBlock();
            return ReadStatus::ServiceFailed;
        }
    } else if (const ReadStatus status = ReadBlock(number); status != ReadStatus::Ok) {
        ReleaseBlock();
        return status;
    }
    mBlockStart = number * mBlockSize;
    mBlockBytes = BytesOfBlock(number);
    // Not behind block 0: looking at a file's first bytes costs one block only.
    if (mCacheId != 0 && number != 0 && mBlockStart + mBlockSize < mFileSize) ReadAhead(number + 1);
    return ReadStatus::Ok;
}

ReadStatus BlockReader::ReadBlock(std::int64_t inNumber) {
    if (!mBlock.Allocate(mBlockSize, mTransferSize) || !mBlock.TakeAddress())
        return ReadStatus::ServiceFailed;
    const std::int64_t start = inNumber * mBlockSize;
    const std::uint32_t wanted = BytesOfBlock(inNumber);
    std::size_t got = 0;
    if (mFile.ReadAt(static_cast<std::uint64_t>(start), mBlock.Data(), wanted, got) < 0)
        return ReadStatus::FileFailed;
    std::memset(mBlock.Data() + got, 0, mBlockSize - got);
    if (got < wanted) {
        mFileSize = start + static_cast<std::int64_t>(got);
        return mPosition < mFileSize ? ReadStatus::Ok : ReadStatus::EndOfData;
    }
    if (mCacheId != 0) mBlock.AddToCache(mCacheId, static_cast<std::uint32_t>(inNumber));
    return ReadStatus::Ok;
}

void BlockReader::ReadAhead(std::int64_t inNumber) {
    HostBlock block;
    if (block.Find(mCacheId, static_cast<std::uint32_t>(inNumber))) return;
    if (!block.Allocate(mBlockSize, mTransferSize) || !block.TakeAddress()) return;
    const std::uint32_t wanted = BytesOfBlock(inNumber);
    std::memset(block.Data() + wanted, 0, mBlockSize - wanted);
    Orvet::AsyncReadRequest request;
    request.offset = static_cast<std::uint64_t>(inNumber) * mBlockSize;
    request.size = wanted;
    request.buffer = block.Data();
    request.completion = OnReadAheadDone;
    request.userValues = {mCacheId, static_cast<std::uint64_t>(inNumber), block.Handle()};
    if (mAsyncReader.QueueReadRequest(request) == 0) block.Detach();  // the completion releases it
}

ReadStatus BlockReader::Read(std::uint8_t* outBytes, std::uint32_t inCount, std::uint32_t& outGot) {
    outGot = 0;
    do {
        if (const ReadStatus status = LoadBlock(); status != ReadStatus::Ok) {
            if (inCount != outGot) std::memset(outBytes + outGot, 0, inCount - outGot);
            return status == ReadStatus::EndOfData && outGot != 0 ? ReadStatus::Ok : status;
        }
        const std::span<const std::uint8_t> here = BytesInBlock();
        const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(here.size(), inCount - outGot));
        if (count != 0) std::memcpy(outBytes + outGot, here.data(), count);
        mPosition += count;
        outGot += count;
    } while (outGot < inCount);
    return ReadStatus::Ok;
}

ReadStatus BlockReader::PeekPESHeaderSize(std::uint32_t& outSize) {
    mPosition += 2;
    if (const ReadStatus status = LoadBlock(); status != ReadStatus::Ok) return status;
    outSize = *Here() + 3U;
    mPosition -= 2;
    return ReadStatus::Ok;
}

ReadStatus BlockReader::FindStartCode(std::uint32_t inCode, std::uint32_t& outFound) {
    for (;;) {
        if (const ReadStatus status = LoadBlock(); status != ReadStatus::Ok) return status;
        const std::span<const std::uint8_t> here = BytesInBlock();
        const std::size_t places = here.size() - std::min(here.size(), kPrefixSize - 1);
        const std::size_t prefix = FindStartCodePrefix(here.data(), places);
        mPosition += static_cast<std::int64_t>(prefix);
        bool found = prefix < places;
        if (found) {
            mPosition += std::int64_t{kPrefixSize};
        } else if (const ReadStatus status = FindPrefixAcrossBlocks(found); status != ReadStatus::Ok) {
            return status;
        }
        if (!found) continue;
        std::uint8_t value = 0;
        if (const ReadStatus status = ReadUInt8(value); status != ReadStatus::Ok) return status;
        outFound = 0x100U | value;
        if (outFound == inCode) return ReadStatus::Ok;
    }
}

// Goes on byte by byte from the last bytes of a block until a prefix ends or none can be under way.
ReadStatus BlockReader::FindPrefixAcrossBlocks(bool& outFound) {
    const std::int64_t blockEnd = mBlockStart + mBlockBytes;
    outFound = false;
    for (unsigned zeros = 0; zeros != 0 || mPosition < blockEnd;) {
        std::uint8_t value = 0;
        if (const ReadStatus status = ReadUInt8(value); status != ReadStatus::Ok) return status;
        outFound = value == 1 && zeros >= kPrefixSize - 1;
        if (outFound) return ReadStatus::Ok;
        zeros = value == 0 ? zeros + 1 : 0;
    }
    return ReadStatus::Ok;
}

}  // namespace Vexmora
