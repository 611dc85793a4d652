// The end of a stream: the last record is closed, the usable frames are found and the header is filled.
#include "Indexer/Indexer_Finish.h"

#include <algorithm>
#include <utility>

#include "Indexer/Indexer.h"
#include "Indexer/Indexer_AudioAlignment.h"
#include "Indexer/Indexer_Cadence.h"

namespace Vexmora {
namespace {

// How many records from the start may be passed over to find a frame that decodes cleanly.
constexpr std::int64_t kStartSearch = 30;

// The start of the final GOP in display order, and the holes passed on the way to it.
struct FinalGop {
    std::int64_t begin;
    std::int64_t holes;
};

FinalGop FindFinalGop(const std::vector<FrameRecord>& inRecords) {
    const auto firstTyped = std::find_if(inRecords.begin(), inRecords.end(), IsTyped) - inRecords.begin();
    const unsigned lastReference = TemporalReference(inRecords.back());
    FinalGop gop{std::ssize(inRecords) - 1, 0};
    for (; gop.begin > firstTyped; --gop.begin) {
        const FrameRecord& record = inRecords[static_cast<std::size_t>(gop.begin)];
        if (!IsTyped(record)) {
            ++gop.holes;
        } else if (TemporalReference(record) == 0 || TemporalReference(record) > lastReference) {
            break;
        }
    }
    return gop;
}

// Whether the picture and both its references were in the stream.
bool IsComplete(const std::vector<FrameRecord>& inRecords, std::int64_t inFrame) {
    const auto isThere = [&inRecords](std::int64_t inIndex) {
        return inIndex >= 0 && inIndex < std::ssize(inRecords) &&
               IsTyped(inRecords[static_cast<std::size_t>(inIndex)]);
    };
    if (!isThere(inFrame)) return false;
    const FrameRecord& record = inRecords[static_cast<std::size_t>(inFrame)];
    return isThere(inFrame + record.pastRefDelta) && isThere(inFrame + record.futureRefDelta);
}

// Cuts off what cannot be decoded at the end (B pictures whose later anchor never came) and holes at the
// start.
UsableFrames SkipHoles(const std::vector<FrameRecord>& inRecords, std::int64_t inHoles) {
    UsableFrames frames{0, std::ssize(inRecords) - 1};
    const FinalGop gop = FindFinalGop(inRecords);
    for (std::int64_t frame = gop.begin; frame < std::ssize(inRecords); ++frame) {
        if (!IsComplete(inRecords, frame)) {
            frames.last = frame - 1;
            inHoles -= gop.holes;
            break;
        }
    }
    while (frames.first < frames.last && inHoles >= 1 &&
           inRecords[static_cast<std::size_t>(frames.first)].size == 0) {
        ++frames.first;
        --inHoles;
    }
    return frames;
}

// A recording of a broadcast begins in the middle of a GOP: moves to the first I picture if it is near.
std::int64_t SkipToIntra(const std::vector<FrameRecord>& inRecords, const UsableFrames& inFrames) {
    const std::int64_t end =
        std::min(inFrames.first + std::min(inFrames.last, kStartSearch), std::ssize(inRecords));
    for (std::int64_t frame = inFrames.first; frame < end; ++frame) {
        if (PictureCodingType(inRecords[static_cast<std::size_t>(frame)]) == kPictureTypeI) return frame;
    }
    return inFrames.first;
}

// Moves past pictures whose GOP says that their references were cut away, unless there are too many of them.
std::int64_t SkipBrokenLinks(const std::vector<FrameRecord>& inRecords, const UsableFrames& inFrames) {
    const std::int64_t end = inFrames.first + kStartSearch;
    std::int64_t frame = inFrames.first;
    while (frame < end && frame < inFrames.last &&
           (inRecords[static_cast<std::size_t>(frame)].flags & kBrokenLinkBit) != 0) {
        ++frame;
    }
    return frame == end ? inFrames.first : frame;
}

IndexHeader FailedHeader() {
    IndexHeader header{};
    header.version = kIndexVersion;
    header.streamKind = kStreamKindFailed;
    return header;
}

}  // namespace

UsableFrames FindUsableFrames(IndexerState& ioState, bool inIsTransportStream) {
    const std::vector<FrameRecord>& records = ioState.records;
    UsableFrames frames{0, std::ssize(records) - 1};
    const std::int64_t holes = std::ssize(records) - ioState.pictureCount;
    if (holes >= 1) frames = SkipHoles(records, holes);
    if (inIsTransportStream && !ioState.firstGopClosed) frames.first = SkipToIntra(records, frames);
    frames.first = SkipBrokenLinks(records, frames);

    for (FrameRecord& record : ioState.records) {
        if (record.size != 0) continue;
        record.flags &= static_cast<std::uint16_t>(~kPictureCodingTypeMask);
        ++ioState.pictureCount;
    }
    frames.last = std::clamp<std::int64_t>(frames.last, 0, frames.first + ioState.pictureCount);
    return frames;
}

bool PureVideoIndexer::FinishIndex(std::uint64_t inEndPosition, IndexHeader& outHeader,
                                   std::vector<AudioAlignmentRun>& outAlignmentPlan,
                                   std::vector<FrameRecord>& outRecords) {
    // The last buffer of an elementary stream may be so short that it was only held back.
    if (!mState.failed && !IsTransportStream() && !IsProgramStream()) HandleCarriedStartCodes();
    if (!mState.failed) CloseCurrentRecord(inEndPosition);
    const std::size_t count = mState.records.size();
    if (mState.failed || !mState.mpeg2 || count == 0 || count > 0x7FFFFFFF) {
        mState.failed = true;
        outHeader = FailedHeader();
        return false;
    }
    const UsableFrames frames = FindUsableFrames(mState, IsTransportStream());
    std::vector<AudioAlignmentRun> plan = BuildAlignmentPlan(mState);
    mState.fieldOrderWord = FieldOrder(mState);

    outHeader.identity = {};
    outHeader.version = kIndexVersion;
    outHeader.recordCount = static_cast<std::uint32_t>(count);
    outHeader.firstFrame = static_cast<std::uint32_t>(frames.first);
    outHeader.lastFrame = static_cast<std::uint32_t>(frames.last);
    outHeader.streamLength = inEndPosition;
    outHeader.streamKind = IsTransportStream() ? kStreamKindTransport
                           : IsProgramStream() ? kStreamKindProgram
                                               : kStreamKindElementary;
    outHeader.effectiveFrameRate = EffectiveFrameRate(mState);
    outHeader.maxPictureSize = mState.maxPictureSize;
    outHeader.formatWord = mState.videoFormat | mState.colourPrimariesWord | mState.transferWord |
                           mState.matrixWord | mState.pictureStructureWord | mState.fieldOrderWord;
    outHeader.width = mState.width;
    outHeader.height = mState.height;
    outHeader.displayWidth = mState.displayWidth;
    outHeader.displayHeight = mState.displayHeight;
    outHeader.aspectRatioCode = mState.aspectRatioCode;
    outAlignmentPlan = std::move(plan);
    outRecords = std::move(mState.records);
    mState.failed = true;  // nothing is left to go on with
    return true;
}

}  // namespace Vexmora
