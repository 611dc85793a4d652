// The account of users and of what is waited for.
#include "frames/DecodePlan.h"

#include <utility>

namespace VexmoraHost {
namespace {

// As many as there are B pictures between two anchors of most streams, and two more.
constexpr std::uint64_t kTurnsOfBPictures = 4;

}  // namespace

void DecodePlan::Want(std::int32_t inRecord) {
    ++mWants;
    AddWithReferences(inRecord);
    Entry& wanted = mPictures.at(inRecord);
    ++wanted.users;
    std::vector<std::int32_t> staying{inRecord};
    for (const std::int32_t reference : wanted.references.records) {
        // Where one is gone, this picture was decoded long ago.
        if (reference != kNoRecord && mPictures.contains(reference)) staying.push_back(reference);
    }
    for (const std::int32_t record : staying) ++mPictures.at(record).users;
    staying.swap(mStaying);
    for (const std::int32_t record : staying) LetGo(record);
}

void DecodePlan::Release(std::int32_t inRecord) {
    LetGo(inRecord);
}

std::optional<PictureTask> DecodePlan::Start() {
    if (mReady.empty()) return std::nullopt;
    const auto first = mReady.begin();
    PictureTask task{.record = first->second, .references = mPictures.at(first->second).references};
    for (const Direction direction : {kPast, kFuture}) {
        const std::int32_t reference = task.references.records[direction];
        if (reference != kNoRecord) task.predictedFrom[direction] = Find(reference);
    }
    mReady.erase(first);
    return task;
}

void DecodePlan::Finish(std::int32_t inRecord, const SharedPicture& inPicture) {
    Entry& finished = mPictures.at(inRecord);
    finished.picture = inPicture;
    for (const std::int32_t record : std::exchange(finished.waiting, {})) {
        Entry& waiting = mPictures.at(record);
        if (--waiting.missing == 0) mReady.emplace(std::pair(waiting.turn, waiting.place), record);
    }
    for (const std::int32_t reference : finished.references.records) {
        if (reference != kNoRecord) LetGo(reference);
    }
}

// Step 1, without recursion: chains may be long. What is found out of the new pictures is known of all
// before any of them is looked at.
void DecodePlan::AddWithReferences(std::int32_t inRecord) {
    if (!mPictures.try_emplace(inRecord).second) return;
    std::vector<std::int32_t> added{inRecord};
    for (std::size_t i = 0; i < added.size(); ++i) {
        Entry& entry = mPictures.at(added[i]);
        Known known = mLookUp(added[i]);
        entry.place = known.place;
        entry.turn = mWants + (known.place.isPredictedBothWays ? kTurnsOfBPictures : 0);
        entry.picture = std::move(known.picture);
        if (entry.picture != nullptr) continue;
        entry.references = known.references;
        for (const std::int32_t reference : entry.references.records) {
            if (reference != kNoRecord && mPictures.try_emplace(reference).second) added.push_back(reference);
        }
    }
    for (const std::int32_t record : added) Enlist(record);
}

void DecodePlan::Enlist(std::int32_t inRecord) {
    Entry& entry = mPictures.at(inRecord);
    if (entry.picture != nullptr) return;
    for (const std::int32_t record : entry.references.records) {
        if (record == kNoRecord) continue;
        Entry& reference = mPictures.at(record);
        ++reference.users;
        if (reference.picture != nullptr) continue;
        reference.waiting.push_back(inRecord);
        ++entry.missing;
    }
    if (entry.missing == 0) mReady.emplace(std::pair(entry.turn, entry.place), inRecord);
}

void DecodePlan::LetGo(std::int32_t inRecord) {
    const auto at = mPictures.find(inRecord);
    if (--at->second.users == 0) mPictures.erase(at);
}

}  // namespace VexmoraHost
