// Ranges of ranks, the changes in them, and the files that are open.
#include "Decoder/KnownParameters.h"

#include <algorithm>
#include <iterator>

namespace Vexmora {
namespace {

// A stream may change its matrices with every picture. Of one that does, what was found out is forgotten
// rather than kept without limit.
constexpr std::size_t kMostDistinct = 1024;

// The files that are open under a cache id. Written by the first request of each handle and by the close of
// the last handle of a file, under the lock; it holds nothing alive.
struct OpenFiles {
    std::mutex lock;
    std::vector<std::weak_ptr<KnownParameters>> files;

    void DropClosed() {
        const std::scoped_lock guard(lock);
        std::erase_if(files, [](const auto& inFile) { return inFile.expired(); });
    }
};
OpenFiles gOpenFiles;

}  // namespace

std::shared_ptr<KnownParameters> KnownParameters::FindOpen(std::uint32_t inCacheId,
                                                           const std::vector<FrameRecord>& inRecords) {
    // Released behind the guard: the last reference to a file takes the lock.
    std::vector<std::shared_ptr<KnownParameters>> others;
    const std::scoped_lock guard(gOpenFiles.lock);
    others.reserve(gOpenFiles.files.size());
    for (const auto& open : gOpenFiles.files) {
        const auto& file = others.emplace_back(open.lock());
        if (file && file->mCacheId == inCacheId && file->mOrder.IsOf(inRecords)) return file;
    }
    return nullptr;
}

// Made without the lock, which whatever fails would take to clean up. Two handles that come at the same time
// may get one each: then both read.
std::shared_ptr<KnownParameters> KnownParameters::Of(std::uint32_t inCacheId,
                                                     const std::vector<FrameRecord>& inRecords) {
    if (inCacheId != 0) {
        if (auto open = FindOpen(inCacheId, inRecords)) return open;
    }
    std::shared_ptr<KnownParameters> file(new KnownParameters(inCacheId, inRecords),
                                          [](KnownParameters* inFile) {
                                              delete inFile;
                                              gOpenFiles.DropClosed();
                                          });
    if (inCacheId != 0) {
        const std::scoped_lock guard(gOpenFiles.lock);
        gOpenFiles.files.push_back(file);
    }
    return file;
}

// The caller has the lock, as for all private operations.
const SequenceParameters* KnownParameters::Find(std::size_t inRank) const {
    const auto range = mRanges.upper_bound(inRank);
    if (range == mRanges.begin() || std::prev(range)->second < inRank) return nullptr;
    return &mDistinct[std::prev(mChanges.upper_bound(inRank))->second];
}

std::optional<SequenceParameters> KnownParameters::At(std::size_t inRank) const {
    const std::scoped_lock guard(mLock);
    const SequenceParameters* const found = Find(inRank);
    return found != nullptr ? std::optional(*found) : std::nullopt;
}

bool KnownParameters::IsKnown(std::size_t inRank) const {
    const std::scoped_lock guard(mLock);
    return Find(inRank) != nullptr;
}

// Every step leaves what is true, should the next one find no memory.
void KnownParameters::Note(std::size_t inFirst, std::size_t inLast, const SequenceParameters& inParameters) {
    const std::scoped_lock guard(mLock);
    const std::size_t index = IndexOf(inParameters);
    const SequenceParameters* const before = inFirst > 0 ? Find(inFirst - 1) : nullptr;
    if (before != &mDistinct[index]) mChanges[inFirst] = index;

    auto next = mRanges.upper_bound(inFirst);
    std::size_t first = inFirst;
    if (next != mRanges.begin() && std::prev(next)->second + 1 >= inFirst) first = std::prev(next)->first;
    std::size_t last = inLast;
    auto end = next;
    for (; end != mRanges.end() && end->first <= inLast + 1; ++end) last = std::max(last, end->second);
    std::size_t& known = mRanges[first];
    known = std::max(known, last);
    mRanges.erase(next, end);
}

std::size_t KnownParameters::IndexOf(const SequenceParameters& inParameters) {
    const auto found = std::find(mDistinct.begin(), mDistinct.end(), inParameters);
    if (found != mDistinct.end()) return static_cast<std::size_t>(found - mDistinct.begin());
    if (mDistinct.size() == kMostDistinct) {
        mRanges.clear();
        mChanges.clear();
        mDistinct.clear();
    }
    mDistinct.push_back(inParameters);
    return mDistinct.size() - 1;
}

}  // namespace Vexmora
