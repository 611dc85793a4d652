// Indexing a media file piece by piece, at its host's pace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Indexer/Indexer.h"
#include "Indexer/Indexer_ThrowLatch.h"
#include "Orvet/File.h"
#include "Orvet/MemoryRecycler.h"
#include "Vexmora/HostServices.h"
#include "Vexmora/Status.h"
#include "Vexmora/UTF16String.h"

namespace Vexmora {

/// The state of indexing one file between calls. One thread at a time.
class IndexFileProgress {
  public:
    IndexFileProgress() = default;
    ~IndexFileProgress() { Release(); }
    IndexFileProgress(const IndexFileProgress&) = delete;
    IndexFileProgress& operator=(const IndexFileProgress&) = delete;

    /// Reads and indexes the next 16 MiB of the file; behind the last of them finishes the index and writes
    /// the index file. outProgress is the fraction done and is not written by the first of several calls.
    /// NotFinished: call again; then Ok, Failure, Unsupported (a failed index was written unless already the
    /// first bytes were of no known stream) or IndexNotWritten, after which only Failure follows, as it does
    /// after an exception. Throws std::bad_alloc.
    [[nodiscard]] Vexmora_Status Advance(const UTF16String& inPath, const IndexLocationTable* inLocation,
                                         bool inIndexFlag, float& outProgress);

  private:
    [[nodiscard]] Vexmora_Status ReadAndScan(const UTF16String& inPath, const IndexLocationTable* inLocation,
                                             bool inIndexFlag, float& outProgress);
    [[nodiscard]] Vexmora_Status Begin(const UTF16String& inPath);
    [[nodiscard]] Vexmora_Status ReadNext(std::size_t inSize);
    [[nodiscard]] Vexmora_Status Finish(const UTF16String& inPath, const IndexLocationTable* inLocation,
                                        bool inIndexFlag, float& outProgress);
    void Release();

    ThrowLatch mLatch;
    Orvet::File mMediaReader;
    Orvet::MemoryRecycler::Buffer mReadBuffer;
    /// The first byte of mReadBuffer at a multiple of the disk's block size.
    std::uint8_t* mAlignedBuffer = nullptr;
    std::unique_ptr<PureVideoIndexer> mIndexer;
    std::uint64_t mBytesScanned = 0;
    std::uint64_t mFileSize = 0;
};

}  // namespace Vexmora
