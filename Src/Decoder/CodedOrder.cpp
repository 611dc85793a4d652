// Sorting by place, and by references where places are the same.
#include "Decoder/CodedOrder.h"

#include <algorithm>

namespace Vexmora {
namespace {

// A B picture is coded behind the later one of its references.
std::int64_t CodedBehind(const CodedPicture& inPicture) {
    const bool isB = PictureCodingType(inPicture.record) == kPictureTypeB;
    return std::int64_t{inPicture.frame} + (isB ? std::max<int>(inPicture.record.futureRefDelta, 0) : 0);
}

bool IsCodedBefore(const CodedPicture& inLeft, const CodedPicture& inRight) {
    if (inLeft.record.offset != inRight.record.offset) return inLeft.record.offset < inRight.record.offset;
    const std::int64_t left = CodedBehind(inLeft);
    const std::int64_t right = CodedBehind(inRight);
    if (left != right) return left < right;
    const bool isLeftReference = left == inLeft.frame;
    const bool isRightReference = right == inRight.frame;
    if (isLeftReference != isRightReference) return isLeftReference;
    return inLeft.frame < inRight.frame;
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

bool CodedOrder::IsOf(const std::vector<FrameRecord>& inRecords) const {
    const auto validCount = std::count_if(inRecords.begin(), inRecords.end(), IsValid);
    return static_cast<std::size_t>(validCount) == mPictures.size() &&
           std::all_of(mPictures.begin(), mPictures.end(), [&](const CodedPicture& in) {
               return in.frame < inRecords.size() && inRecords[in.frame] == in.record;
           });
}

}  // namespace Vexmora
