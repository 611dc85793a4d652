// Indexing a media file by way of the library's buffer indexers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Vexmora/Vexmora.h"
#include "index/StoredIndex.h"
#include "system/Posix.h"

namespace VexmoraHost {

/// Reads a file from its start to its end, step by step, and makes its index. One thread at a time. Functions
/// throw Error, and std::bad_alloc; the builder is of no use then.
class IndexBuilder {
  public:
    /// What each step reads.
    static constexpr std::uint64_t kStepBytes = std::uint64_t{16} << 20;

    /// Looks at the file's first bytes. Throws Error with Vexmora_Unsupported when they are not those of a
    /// stream that can be indexed.
    /// @param inMedia outlives the builder.
    explicit IndexBuilder(const Posix::InputFile& inMedia);

    std::uint64_t BytesDone() const { return mDone; }
    bool IsAtEnd() const { return mDone == mTotal; }
    /// Reads and indexes the next kStepBytes, or what is left.
    void Advance();
    /// The index, once the end is reached; one whose streamKind is kStreamKindFailed when the stream cannot
    /// be indexed. To be called once.
    StoredIndex Finish(const Guid& inIdentity);

  private:
    struct Destroy {
        void operator()(Vexmora_IndexerTag* inIndexer) const noexcept;
    };
    void ReadPiece(std::uint64_t inBytes);

    const Posix::InputFile& mMedia;
    const std::uint64_t mTotal;
    std::uint64_t mDone = 0;
    std::vector<std::uint8_t> mPiece;
    std::unique_ptr<Vexmora_IndexerTag, Destroy> mIndexer;
};

}  // namespace VexmoraHost
