// Indexing a media file by way of the library's buffer indexers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
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

    /// Is shown each piece of the file as it is read.
    using Watch = std::function<void(std::span<const std::uint8_t> inPiece)>;

    /// Looks at the file's first bytes.
    /// @param inMedia outlives the builder.
    IndexBuilder(const Posix::InputFile& inMedia, Watch inWatch);

    /// Whether these are the first bytes of a stream that can be indexed. If not, the builder is of no use.
    bool CanIndex() const { return mIndexer != nullptr; }
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
    const Watch mWatch;
    const std::uint64_t mTotal;
    std::uint64_t mDone = 0;
    std::vector<std::uint8_t> mPiece;
    std::unique_ptr<Vexmora_IndexerTag, Destroy> mIndexer;
};

}  // namespace VexmoraHost
