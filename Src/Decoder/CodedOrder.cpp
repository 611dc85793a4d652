// Sorting by where pictures begin and end.
#include "Decoder/CodedOrder.h"

#include <algorithm>
#include <tuple>

namespace Vexmora {
namespace {

// The size of a record reaches from its offset to the end of its picture.
bool IsCodedBefore(const CodedPicture& inLeft, const CodedPicture& inRight) {
    const auto place = [](const CodedPicture& in) {
        return std::tuple(in.record.offset, in.record.size, in.frame);
    };
    return place(inLeft) < place(inRight);
}

bool AreAlike(const FrameRecord& inLeft, const FrameRecord& inRight) {
    return TemporalReference(inLeft) == TemporalReference(inRight) &&
           PictureCodingType(inLeft) == PictureCodingType(inRight);
}

}  // namespace

CodedOrder::CodedOrder(const std::vector<FrameRecord>& inRecords) {
    mPictures.reserve(inRecords.size());
    for (std::size_t frame = 0; frame < inRecords.size(); ++frame) {
        if (IsValid(inRecords[frame]))
            mPictures.push_back({inRecords[frame], static_cast<std::uint32_t>(frame)});
    }
    std::sort(mPictures.begin(), mPictures.end(), IsCodedBefore);
}

std::size_t CodedOrder::RankOf(std::uint32_t inFrame, const FrameRecord& inRecord) const {
    const auto found =
        std::lower_bound(mPictures.begin(), mPictures.end(), CodedPicture{inRecord, inFrame}, IsCodedBefore);
    return static_cast<std::size_t>(found - mPictures.begin());
}

// A record that an index holds twice is one picture.
std::size_t CodedOrder::AlikeBefore(std::size_t inRank) const {
    const FrameRecord& record = mPictures[inRank].record;
    std::size_t count = 0;
    for (std::size_t rank = inRank; rank > 0 && mPictures[rank - 1].record.offset == record.offset; --rank) {
        const FrameRecord& before = mPictures[rank - 1].record;
        if (AreAlike(before, record) && before.size < mPictures[rank].record.size) ++count;
    }
    return count;
}

bool CodedOrder::IsOf(const std::vector<FrameRecord>& inRecords) const {
    const auto validCount = std::count_if(inRecords.begin(), inRecords.end(), IsValid);
    return static_cast<std::size_t>(validCount) == mPictures.size() &&
           std::all_of(mPictures.begin(), mPictures.end(), [&](const CodedPicture& in) {
               return in.frame < inRecords.size() && inRecords[in.frame] == in.record;
           });
}

}  // namespace Vexmora
