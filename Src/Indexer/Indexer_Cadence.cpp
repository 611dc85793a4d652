// What the picture flags of a whole stream say about time: durations, 3:2 pulldown and field order.
#include "Indexer/Indexer_Cadence.h"

#include <algorithm>
#include <cstdlib>
#include <span>

namespace Vexmora {
namespace {

constexpr std::size_t kGroup = 4;
constexpr int kMostRetries = 3;

bool Has(const FrameRecord& inRecord, std::uint16_t inBit) {
    return (inRecord.flags & inBit) != 0;
}

// Fields (interlaced sequence) or frames (progressive sequence) that a picture is shown for; 0 when its flags
// contradict each other.
std::uint32_t ShownFor(const FrameRecord& inRecord, bool inProgressiveSequence) {
    const bool progressive_frame = Has(inRecord, kProgressiveFrameBit);
    const bool top_field_first = Has(inRecord, kTopFieldFirstBit);
    const bool repeat_first_field = Has(inRecord, kRepeatFirstFieldBit);
    if (inProgressiveSequence) {
        if (!progressive_frame || (top_field_first && !repeat_first_field)) return 0;
        return top_field_first ? 3 : repeat_first_field ? 2 : 1;
    }
    if (!progressive_frame) return repeat_first_field ? 0 : 2;
    return repeat_first_field ? 3 : 2;
}

// The first I picture after the first I picture at or after inFrom; the number of records if there is none.
std::size_t FindTestGroup(std::span<const FrameRecord> inRecords, std::size_t inFrom) {
    const auto isIntra = [](const FrameRecord& inRecord) {
        return PictureCodingType(inRecord) == kPictureTypeI;
    };
    auto at = std::find_if(inRecords.begin() + static_cast<std::ptrdiff_t>(inFrom), inRecords.end(), isIntra);
    if (at != inRecords.end()) ++at;
    at = std::find_if(at, inRecords.end(), isIntra);
    return static_cast<std::size_t>(at - inRecords.begin());
}

std::uint32_t NominalFrameRate(const IndexerState& inState) {
    const std::uint32_t rate = kFrameRate1000[inState.frameRateCode];
    return rate * (inState.frameRateExtN + 1u) / (inState.frameRateExtD + 1u);
}

// Whether the four records are two pairs, alike within and different between; the cadence of pulldown.
enum class Pairs { Alternate, Broken, Untyped };

Pairs TestPairs(std::span<const FrameRecord> inFour) {
    if (!std::all_of(inFour.begin(), inFour.end(), IsTyped)) return Pairs::Untyped;
    const auto top = [&inFour](std::size_t inIndex) { return Has(inFour[inIndex], kTopFieldFirstBit); };
    const bool alternate = top(0) == top(1) && top(2) == top(3) && top(0) != top(2);
    return alternate ? Pairs::Alternate : Pairs::Broken;
}

// Whether a run of alternating pairs begins somewhere and then ends before the stream does.
bool HasBrokenRun(std::span<const FrameRecord> inRecords) {
    bool inRun = false;
    for (std::size_t at = 0; at + kGroup < inRecords.size(); at += inRun ? 2 : 1) {
        switch (TestPairs(inRecords.subspan(at, kGroup))) {
            case Pairs::Alternate:
                inRun = true;
                break;
            case Pairs::Broken:
                if (inRun) return true;
                break;
            case Pairs::Untyped:
                inRun = false;
                break;
        }
    }
    return false;
}

}  // namespace

std::uint32_t PictureTicks90k(const IndexerState& inState, const FrameRecord& inRecord) {
    const std::uint32_t ticks = kFrameTicks90k[inState.frameRateCode];
    if (inState.pictureStructureWord != kFramePictureWord || !Has(inRecord, kProgressiveFrameBit)) {
        return ticks;
    }
    const bool repeat_first_field = Has(inRecord, kRepeatFirstFieldBit);
    if (!inState.progressiveSequence) return repeat_first_field ? 3 * ticks / 2 : ticks;
    if (Has(inRecord, kTopFieldFirstBit)) return 3 * ticks;
    return repeat_first_field ? 2 * ticks : ticks;
}

std::uint32_t EffectiveFrameRate(const IndexerState& inState) {
    if (!inState.sequenceSeen || inState.pictureCount == 0) return 0;
    const std::uint32_t rate = NominalFrameRate(inState);
    const std::span<const FrameRecord> records = inState.records;
    std::size_t from = 0;
    for (int retries = 0; retries < kMostRetries; ++retries) {
        const std::size_t group = FindTestGroup(records, from);
        if (inState.pictureStructureWord != kFramePictureWord || records.size() <= group + kGroup) {
            return rate;
        }
        std::uint32_t shown = 0;
        std::size_t tested = 0;
        for (; tested < kGroup && IsTyped(records[group + tested]); ++tested) {
            const std::uint32_t shownFor = ShownFor(records[group + tested], inState.progressiveSequence);
            if (shownFor == 0) return rate;
            shown += shownFor;
        }
        if (tested == kGroup) {
            const std::uint32_t fieldRate = rate * 8 / shown;
            return inState.progressiveSequence ? fieldRate / 2 : fieldRate;
        }
        from = group + 1;
    }
    return 0;
}

std::uint32_t FieldOrder(const IndexerState& inState) {
    if (inState.progressiveSequence) return kFieldOrderProgressive;
    const std::span<const FrameRecord> records = inState.records;
    std::int64_t top = 0;
    std::int64_t bottom = 0;
    for (const FrameRecord& record : records) {
        if (IsTyped(record)) ++(Has(record, kTopFieldFirstBit) ? top : bottom);
    }
    if (top == 0) return kFieldOrderBottomFirst;
    if (bottom == 0) return kFieldOrderTopFirst;
    if (!HasBrokenRun(records)) return kFieldOrderMixed;
    if (std::abs(top - bottom) <= (top + bottom) / 25) return kFieldOrderMixed;
    return bottom < 3 * top ? kFieldOrderTopFirst : kFieldOrderBottomFirst;
}

}  // namespace Vexmora
