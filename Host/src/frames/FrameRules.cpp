// A reference that the stream does not hold is replaced by the nearest picture before it.
#include "frames/FrameRules.h"

#include <algorithm>
#include <array>

#include "frames/CodedMedia.h"

namespace VexmoraHost {

bool FrameRules::IsValid(std::int32_t inRecord) const {
    return inRecord >= 0 && inRecord < Count() &&
           Vexmora::IsValid(mRecords[static_cast<std::size_t>(inRecord)]);
}

// Record 0 is the answer when nothing better is there; it is never tested.
std::int32_t FrameRules::LastGood(std::int32_t inRecord) const {
    std::int32_t record = std::min(inRecord, Count() - 1);
    while (record > 0 && !IsValid(record)) --record;
    return std::max(record, 0);
}

Vexmora_Status FrameRules::FindReferences(std::int32_t inRecord, std::int32_t& outPast,
                                          std::int32_t& outFuture) const {
    if (inRecord < 0 || inRecord >= Count()) return Vexmora_NoSuchFrame;
    const Vexmora::FrameRecord& record = mRecords[static_cast<std::size_t>(inRecord)];
    if (PictureCodingType(record) == 0) return Vexmora_NoCodedPicture;
    std::array references{kNoRecord, kNoRecord};
    const std::array deltas{record.pastRefDelta, record.futureRefDelta};
    for (std::size_t direction = 0; direction < 2; ++direction) {
        if (deltas[direction] == 0) continue;
        references[direction] = inRecord + deltas[direction];
        if (references[direction] < 0 || references[direction] >= Count()) return Vexmora_NoSuchFrame;
    }
    if (record.size == 0) return Vexmora_NoSuchFrame;
    for (std::int32_t& reference : references) {
        if (reference != kNoRecord) reference = LastGood(reference);
    }
    outPast = references[0];
    outFuture = references[1];
    return Vexmora_Ok;
}

}  // namespace VexmoraHost
