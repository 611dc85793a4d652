// Telling from the display order of the records where an anchor is missing.
#include "frames/MissingAnchors.h"

#include <algorithm>
#include <cstdint>

namespace VexmoraHost {

using Vexmora::FrameRecord;
using Vexmora::PictureCodingType;

MissingAnchors::MissingAnchors(std::span<const FrameRecord> inRecords) : mRecords(inRecords) {
    for (std::size_t record = 0; record < mRecords.size(); ++record) {
        const Gap gap = GapOf(record);
        if (gap.Distance() > mLongestDistance && !MayHideAnchor(gap)) mLongestDistance = gap.Distance();
    }
}

bool MissingAnchors::AreMissedBy(std::size_t inRecord) const {
    const FrameRecord& record = mRecords[inRecord];
    if (PictureCodingType(record) == Vexmora::kPictureTypeB) {
        const bool isBeforeBoth = record.pastRefDelta > 0 && record.pastRefDelta == record.futureRefDelta;
        const bool isBetween = record.pastRefDelta < 0 && record.futureRefDelta > 0;
        if (!isBeforeBoth && !isBetween) return true;
    }
    const Gap gap = GapOf(inRecord);
    return mLongestDistance > 0 && gap.Distance() > mLongestDistance && MayHideAnchor(gap);
}

// None for an I picture, and where an index leads out of itself.
MissingAnchors::Gap MissingAnchors::GapOf(std::size_t inRecord) const {
    const FrameRecord& record = mRecords[inRecord];
    if (!IsValid(record) || PictureCodingType(record) == Vexmora::kPictureTypeI) return {};
    const auto position = static_cast<std::int64_t>(inRecord);
    const std::int64_t past = position + record.pastRefDelta;
    const std::int64_t future = position + record.futureRefDelta;  // itself for a P picture
    if (past < 0 || future >= static_cast<std::int64_t>(mRecords.size())) return {};
    return {static_cast<std::size_t>(past), static_cast<std::size_t>(std::max(past, future))};
}

// A B picture that is predicted from both sides was coded behind the later one: no anchor comes between these
// two in display order, only before the B picture.
bool MissingAnchors::MayHideAnchor(const Gap& inGap) const {
    for (std::size_t record = inGap.past + 1; record < inGap.future; ++record) {
        if (!IsValid(mRecords[record])) return true;
        if (GapOf(record) == inGap) return false;
    }
    return false;
}

}  // namespace VexmoraHost
