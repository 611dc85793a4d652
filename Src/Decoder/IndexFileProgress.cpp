// Reading and scanning by turns, and the finish.
#include "Decoder/IndexFileProgress.h"

#include <algorithm>
#include <vector>

#include "Decoder/ExportedStatus.h"
#include "Indexer/Indexer_MediaType.h"
#include "Orvet/DiskUtils.h"

namespace Vexmora {

// How far one call gets.
static constexpr std::uint64_t kBytesPerCall = 16 * 1024 * 1024;
// What is read at once stays in the processor's second cache until it is scanned. Reads of 16 MiB make a trip
// to memory and back, and indexing 4 to 12 % slower.
static constexpr std::size_t kBytesPerRead = 256 * 1024;

Vexmora_Status IndexFileProgress::Advance(const UTF16String& inPath, const IndexLocationTable* inLocation,
                                          bool inIndexFlag, float& outProgress) {
    return mLatch.Run([&] { return ReadAndScan(inPath, inLocation, inIndexFlag, outProgress); });
}

Vexmora_Status IndexFileProgress::ReadAndScan(const UTF16String& inPath, const IndexLocationTable* inLocation,
                                              bool inIndexFlag, float& outProgress) {
    const bool isFirst = mFileSize == 0;
    if (isFirst) {
        if (const Vexmora_Status status = Begin(inPath); status != Vexmora_Ok) {
            Release();
            return status;
        }
    }
    if (mBytesScanned < mFileSize) {
        if (!isFirst && !mIndexer) return Vexmora_Failure;
        bool goesOn = true;
        const std::uint64_t end = std::min(mBytesScanned + kBytesPerCall, mFileSize);
        while (goesOn && mBytesScanned < end) {
            const std::size_t size = std::min<std::uint64_t>(kBytesPerRead, end - mBytesScanned);
            if (const Vexmora_Status status = ReadNext(size); status != Vexmora_Ok) {
                Release();
                return status;
            }
            goesOn = mIndexer->ScanBuffer(mAlignedBuffer, size, mBytesScanned);
            mBytesScanned += size;
        }
        if (!isFirst) outProgress = static_cast<float>(mBytesScanned) / static_cast<float>(mFileSize);
        if (mBytesScanned < mFileSize && goesOn) return Vexmora_NotFinished;
    }
    return Finish(inPath, inLocation, inIndexFlag, outProgress);
}

// Opens the file and takes the buffer.
Vexmora_Status IndexFileProgress::Begin(const UTF16String& inPath) {
    const std::int64_t size = Orvet::File::SizeOnDisk(inPath);
    if (size <= 0) return Vexmora_Failure;
    std::uint32_t blockSize = 0;
    if (Orvet::DiskUtils::GetEfficientDiskBufferSizeFromPath(inPath, blockSize) < 0) return Vexmora_Failure;
    if (mMediaReader.Create(inPath, Orvet::FileAccess::Read, Orvet::FileShare::Read,
                            Orvet::FileDisposition::OpenExisting,
                            Orvet::FileAttributes::SequentialScan) < 0) {
        return Vexmora_Failure;
    }
    mReadBuffer = Orvet::MemoryRecycler::Instance().GetBuffer(kBytesPerRead - 1 + blockSize);
    const auto address = reinterpret_cast<std::uintptr_t>(mReadBuffer.Data());
    const std::uintptr_t misaligned = address % blockSize;
    mAlignedBuffer =
        reinterpret_cast<std::uint8_t*>(mReadBuffer.Data()) + (misaligned == 0 ? 0 : blockSize - misaligned);
    mFileSize = static_cast<std::uint64_t>(size);
    return Vexmora_Ok;
}

// Reads the next piece; the first one tells which indexer the file takes. A file that has become shorter
// cannot be read to the end that its index would claim.
Vexmora_Status IndexFileProgress::ReadNext(std::size_t inSize) {
    std::size_t got = 0;
    if (mMediaReader.Read(mAlignedBuffer, inSize, got) < 0 || got < inSize) return Vexmora_Failure;
    if (mIndexer) return Vexmora_Ok;
    mIndexer = MakeIndexer(ClassifyMedia({mAlignedBuffer, inSize}));
    return mIndexer ? Vexmora_Ok : Vexmora_Unsupported;
}

Vexmora_Status IndexFileProgress::Finish(const UTF16String& inPath, const IndexLocationTable* inLocation,
                                         bool inIndexFlag, float& outProgress) {
    if (!mIndexer) return Vexmora_Failure;
    IndexHeader header{};
    header.streamKind = kStreamKindFailed;
    std::vector<AudioAlignmentRun> alignmentPlan;  // only for hosts that index buffers
    std::vector<FrameRecord> records;
    const bool isIndexed = mIndexer->FinishIndex(mFileSize, header, alignmentPlan, records);
    outProgress = 1.0f;
    Release();
    mBytesScanned = mFileSize;
    const WriteIndexStatus written = WriteIndexFile(inLocation, inPath, header, records, inIndexFlag);
    if (!isIndexed) return Vexmora_Unsupported;
    return ToExported(written);
}

void IndexFileProgress::Release() {
    mIndexer.reset();
    mMediaReader.Close();
    mAlignedBuffer = nullptr;
    // Without a buffer the recycler may not exist yet, and making it takes memory, which a close must not
    // need.
    if (mReadBuffer) Orvet::MemoryRecycler::Instance().RecycleBuffer(std::move(mReadBuffer));
}

}  // namespace Vexmora
