// From a picture header to a record: the slot in display order, the references, and the size once the next
// picture begins.
#include <algorithm>

#include "Indexer/Indexer.h"

namespace Vexmora {
namespace {

constexpr std::uint64_t kSmallestPicture = 5;
constexpr std::uint64_t kLargestPicture = 16 * 1024 * 1024;
constexpr std::uint32_t kLargestTemporalReference = 1023;
constexpr std::int64_t kFarthestReference = 127;
constexpr std::size_t kRecordGrowth = 8192;
// Holes are made by temporal_references that jump; a stream of jumps must not eat the host's memory.
constexpr std::int64_t kMostHoles = 1'000'000;

bool IsNear(std::int64_t inDelta) {
    return -kFarthestReference <= inDelta && inDelta <= kFarthestReference;
}

}  // namespace

void PureVideoIndexer::CloseCurrentRecord(std::uint64_t inPosition) {
    if (mState.pictureCount == 0) return;
    FrameRecord& record = mState.records[mState.currentRecord];
    const std::uint64_t size = inPosition - record.offset;
    if (size < kSmallestPicture || size > kLargestPicture) {
        mState.failed = true;
        return;
    }
    record.size = static_cast<std::uint32_t>(size);
    mState.maxPictureSize = std::max(mState.maxPictureSize, static_cast<std::uint32_t>(size));
}

void PureVideoIndexer::RecordPicture(const std::uint8_t* inStartCode, std::uint64_t inPosition) {
    const unsigned header = unsigned{inStartCode[4]} << 8 | inStartCode[5];
    const std::uint32_t temporal_reference = header >> 6;
    const unsigned picture_coding_type = (header >> 3) & 7;
    if (!mState.sequenceSeen || picture_coding_type < kPictureTypeI || picture_coding_type > kPictureTypeB) {
        return;
    }

    const std::uint32_t slot = SlotFor(temporal_reference);
    CloseCurrentRecord(inPosition);
    if (slot > mState.pictureCount + kMostHoles) {
        mState.failed = true;
        return;
    }
    MakeRoomFor(slot);
    ++mState.pictureCount;
    ++mState.picturesSinceGop;
    mState.currentRecord = slot;

    FrameRecord record{};
    record.offset = RecordOffsetFor(inPosition);
    record.flags =
        static_cast<std::uint16_t>(temporal_reference | picture_coding_type << kPictureCodingTypeShift |
                                   (mState.currentBrokenLink ? kBrokenLinkBit : 0));
    SetReferences(record, slot);
    mState.records[slot] = record;
    mState.picturePts[slot] = mState.pendingPts;
    mState.pendingPts = kNoPts;
}

// Where in display order a picture belongs; a wrapped temporal_reference or a taken slot begins a new GOP.
std::uint32_t PureVideoIndexer::SlotFor(std::uint32_t inTemporalReference) {
    const auto beginGop = [this] {
        mState.gopBase += mState.gopMaxTR + 1;
        mState.gopMaxTR = 0;
    };
    if (mState.awaitingFirstGop && mState.gopMaxTR == kLargestTemporalReference &&
        inTemporalReference < 256) {
        beginGop();
    }
    std::uint32_t slot = mState.gopBase + inTemporalReference;
    if (slot < mState.records.size() && IsTyped(mState.records[slot])) {
        beginGop();
        slot = mState.gopBase + inTemporalReference;
    }
    mState.gopMaxTR = std::max(mState.gopMaxTR, inTemporalReference);
    return slot;
}

void PureVideoIndexer::SetReferences(FrameRecord& ioRecord, std::uint32_t inSlot) {
    const auto deltaTo = [inSlot](std::uint32_t inReference) {
        return static_cast<std::int64_t>(inReference) - static_cast<std::int64_t>(inSlot);
    };
    const bool isLater = mState.lastAnchor < inSlot;
    std::int64_t past = 0;
    std::int64_t future = 0;
    switch (PictureCodingType(ioRecord)) {
        case kPictureTypeI:
            if (isLater) {
                mState.prevAnchor = mState.pictureCount == 1 ? inSlot : mState.lastAnchor;
                mState.lastAnchor = inSlot;
            }
            break;
        case kPictureTypeP:
            past = deltaTo(isLater ? mState.lastAnchor : mState.prevAnchor);
            if (isLater) {
                mState.prevAnchor = mState.lastAnchor;
                mState.lastAnchor = inSlot;
            }
            break;
        default:
            past = deltaTo(mState.prevAnchor);
            future = deltaTo(mState.lastAnchor);
            break;
    }
    if (!IsNear(past) || !IsNear(future)) mState.failed = true;
    ioRecord.pastRefDelta = static_cast<std::int8_t>(past);
    ioRecord.futureRefDelta = static_cast<std::int8_t>(future);
}

// Grows by half, in steps, so that an index of millions of records is not copied hundreds of times.
void PureVideoIndexer::MakeRoomFor(std::uint32_t inSlot) {
    if (inSlot < mState.records.size()) return;
    const std::size_t size = std::size_t{inSlot} + 1;
    if (size > mState.records.capacity()) {
        const std::size_t growth = std::max(kRecordGrowth, mState.records.capacity() / 2);
        const std::size_t capacity = std::max(size, mState.records.capacity() + growth);
        mState.records.reserve(capacity);
        mState.picturePts.reserve(capacity);
    }
    mState.records.resize(size);
    mState.picturePts.resize(size);
}

}  // namespace Vexmora
