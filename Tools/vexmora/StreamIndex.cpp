// Feeds a file to one of the library's buffer indexers.
#include "StreamIndex.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>

#include "InputFile.h"
#include "Interrupt.h"
#include "Problem.h"
#include "ProgressBar.h"
#include "Refusal.h"
#include "Vexmora/Vexmora.h"

namespace Vexmora {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kBufferBytes = std::size_t{16} << 20;
/// What is kept of the file's start to explain a refusal.
constexpr std::size_t kStartBytes = std::size_t{1} << 20;
/// Vexmora_CreateIndexerFromFirstBuffer looks at these.
constexpr std::size_t kFirstBytes = 5;

struct DestroyIndexer {
    void operator()(Vexmora_IndexerHandle inIndexer) const { Vexmora_BufferIndexerDestroy(&inIndexer); }
};
using Indexer = std::unique_ptr<Vexmora_IndexerTag, DestroyIndexer>;

Problem NotSupported(const std::string& inFile, Bytes inStart) {
    const Refusal refusal = ExplainRefusal(inStart);
    return {ExitStatus::NotSupported, inFile, refusal.what, refusal.advice};
}

Indexer MakeIndexer(const std::string& inFile, Bytes inFirst) {
    Vexmora_IndexerHandle indexer = nullptr;
    if (inFirst.size() < kFirstBytes ||
        Vexmora_CreateIndexerFromFirstBuffer(inFirst.data(), &indexer) != Vexmora_Ok)
        throw NotSupported(inFile, inFirst);
    return Indexer(indexer);
}

StreamIndex IndexInput(const std::string& inFile, const IndexProgress& inProgress) {
    InputFile input(inFile);
    // One byte more than the file has: a short read is the end, also of a small file.
    std::vector<std::uint8_t> buffer(std::min<std::uint64_t>(input.Size(), kBufferBytes - 1) + 1);
    std::vector<std::uint8_t> start;
    Indexer indexer;
    std::uint64_t position = 0;
    bool isEnd = false;
    while (!isEnd) {
        const Bytes bytes = Bytes(buffer).first(input.Read(buffer));
        isEnd = bytes.size() < buffer.size();
        if (!indexer) {
            const Bytes kept = bytes.first(std::min(bytes.size(), kStartBytes));
            start.assign(kept.begin(), kept.end());
            indexer = MakeIndexer(inFile, bytes);
        }
        if (!bytes.empty() &&
            Vexmora_BufferIndexerScan(indexer.get(), bytes.data(), bytes.size(), position) != Vexmora_Ok)
            throw Problem(ExitStatus::Failed, inFile, "could not be scanned", "report this as a fault");
        position += bytes.size();
        if (!inProgress(position, input.Size())) throw Interrupted{InterruptGuard::Signal(), inFile};
    }

    StreamIndex index;
    std::vector<AudioAlignmentRun> plan;
    if (Vexmora_BufferIndexerDone(indexer.get(), position, &index.header, &plan, &index.records) !=
        Vexmora_Ok)
        throw NotSupported(inFile, start);
    return index;
}

}  // namespace

StreamIndex IndexStream(const std::string& inFile, const IndexProgress& inProgress) {
    try {
        return IndexInput(inFile, inProgress);
    } catch (const std::bad_alloc&) {
        throw Problem(ExitStatus::Failed, inFile, "there is not enough memory for its index",
                      "end other programs, or cut the file");
    }
}

StreamIndex IndexWithProgress(const std::string& inFile, bool inQuiet) {
    const InterruptGuard interrupt;
    ProgressBar progress(inFile, inQuiet);
    return IndexStream(inFile, [&](std::uint64_t inDone, std::uint64_t inTotal) {
        progress.Update(inDone, inTotal);
        return InterruptGuard::Signal() == 0;
    });
}

}  // namespace Vexmora
