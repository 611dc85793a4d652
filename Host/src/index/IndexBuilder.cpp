// One read, one scan, in pieces that stay in the processor's cache between the two.
#include "index/IndexBuilder.h"

#include <algorithm>
#include <span>
#include <utility>

#include "VexmoraHost/Error.h"

namespace VexmoraHost {
namespace {

constexpr std::uint64_t kReadAtOnce = std::uint64_t{256} << 10;
// What the library must see to know the kind of a stream.
constexpr std::uint64_t kFirstBytes = 5;

}  // namespace

void IndexBuilder::Destroy::operator()(Vexmora_IndexerTag* inIndexer) const noexcept {
    static_cast<void>(Vexmora_BufferIndexerDestroy(&inIndexer));
}

IndexBuilder::IndexBuilder(const Posix::InputFile& inMedia, Watch inWatch)
    : mMedia(inMedia),
      mWatch(std::move(inWatch)),
      mTotal(inMedia.Size()),
      mPiece(std::clamp(mTotal, kFirstBytes, kReadAtOnce)) {
    if (mTotal < kFirstBytes) return;
    mMedia.ExpectSequentialReads();
    mMedia.ReadAt(0, std::as_writable_bytes(std::span(mPiece)).first(kFirstBytes));
    Vexmora_IndexerHandle indexer = nullptr;
    Vexmora_Status status = Vexmora_CreateIndexerFromFirstBuffer(mPiece.data(), &indexer);
    // One answer for data that is unknown and for want of memory, which may have passed.
    if (status != Vexmora_Ok) status = Vexmora_CreateIndexerFromFirstBuffer(mPiece.data(), &indexer);
    if (status == Vexmora_Ok) mIndexer.reset(indexer);
}

void IndexBuilder::Advance() {
    const std::uint64_t end = std::min(mTotal, mDone + kStepBytes);
    while (mDone < end) ReadPiece(std::min(end - mDone, kReadAtOnce));
}

void IndexBuilder::ReadPiece(std::uint64_t inBytes) {
    const auto piece = std::span(mPiece).first(inBytes);
    mMedia.ReadAt(mDone, std::as_writable_bytes(piece));
    mWatch(piece);
    static_cast<void>(Vexmora_BufferIndexerScan(mIndexer.get(), piece.data(), piece.size(), mDone));
    mDone += inBytes;
}

StoredIndex IndexBuilder::Finish(const Guid& inIdentity) {
    StoredIndex index{};
    std::vector<Vexmora::AudioAlignmentRun> alignmentPlan;  // nobody asks for it
    const Vexmora_Status status =
        Vexmora_BufferIndexerDone(mIndexer.get(), mTotal, &index.header, &alignmentPlan, &index.records);
    mIndexer.reset();
    if (status != Vexmora_Ok && status != Vexmora_Unsupported) {
        throw Error(Vexmora_Failure, mMedia.Path(), "could not be indexed", "try again");
    }
    if (status == Vexmora_Unsupported) {
        index = {};
        index.header.streamKind = Vexmora::kStreamKindFailed;
    }
    index.header.version = Vexmora::kIndexVersion;
    index.header.identity = inIdentity;
    return index;
}

}  // namespace VexmoraHost
