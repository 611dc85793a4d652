// What the index says of references, and what counts of it.
#include "frames/FrameGraph.h"

namespace VexmoraHost {

using Vexmora::FrameRecord;
using Vexmora::PictureCodingType;

std::int32_t FrameGraph::RecordShownAt(std::uint32_t inFrame) const {
    const auto first = static_cast<std::int32_t>(mSource.firstFrame);
    const std::int32_t own = first + static_cast<std::int32_t>(inFrame);
    if (mRules.IsValid(own)) return own;
    const std::int32_t lastGood = mRules.LastGood(own);
    if (lastGood >= first && mRules.IsValid(lastGood)) return lastGood;
    const std::int32_t end = first + static_cast<std::int32_t>(mSource.frameCount);
    for (std::int32_t later = own + 1; later < end; ++later) {
        if (mRules.IsValid(later)) return later;
    }
    return kNoRecord;
}

// Pictures that begin in the same packet share its position: of these, anchors are coded in display order,
// and B pictures after the anchors that they are predicted from.
CodingPlace FrameGraph::PlaceOf(std::int32_t inRecord) const {
    const FrameRecord& record = mSource.records[static_cast<std::size_t>(inRecord)];
    return {record.offset, PictureCodingType(record) == Vexmora::kPictureTypeB, inRecord};
}

// The index, too, names another picture for one that was lost without a trace.
References FrameGraph::FindReferences(std::int32_t inRecord) const {
    References references = NameReferences(inRecord);
    const bool isSuspect = references.status == Vexmora_Ok && references.lost == 0;
    if (isSuspect && mSource.missingAnchors.AreMissedBy(static_cast<std::size_t>(inRecord)))
        references.lost = 1;
    const auto [past, future] = references.records;
    references.isPastBehindFuture = past != kNoRecord && future != kNoRecord &&
                                    (future == past || NameReferences(future).records[kPast] == past);
    return references;
}

// The rules offer another picture in place of a reference that the stream does not hold; one of another size
// is of no use.
References FrameGraph::NameReferences(std::int32_t inRecord) const {
    References references;
    std::array<std::int32_t, 2> offered{kNoRecord, kNoRecord};
    references.status = mRules.FindReferences(inRecord, offered[kPast], offered[kFuture]);
    if (references.status != Vexmora_Ok) return references;
    const FrameRecord& record = mSource.records[static_cast<std::size_t>(inRecord)];
    const unsigned type = PictureCodingType(record);
    references.isNeeded = {type != Vexmora::kPictureTypeI, type == Vexmora::kPictureTypeB};
    std::array named{inRecord + record.pastRefDelta, inRecord + record.futureRefDelta};
    if (const std::int32_t past = mSource.media.PastOfIntra(inRecord); past != kNoRecord) {
        references.isNeeded[kPast] = true;
        offered[kPast] = named[kPast] = past;
    }
    for (const Direction direction : {kPast, kFuture}) {
        if (!references.isNeeded[direction]) continue;
        const std::int32_t reference = offered[direction];
        const bool counts = reference != kNoRecord && mRules.IsValid(reference) &&
                            PlaceOf(reference) < PlaceOf(inRecord) &&
                            mSource.media.FormatOf(reference) == mSource.media.FormatOf(inRecord);
        if (counts) references.records[direction] = reference;
        if (!counts || reference != named[direction]) ++references.lost;
    }
    return references;
}

}  // namespace VexmoraHost
