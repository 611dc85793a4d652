// Which frame numbers name a picture, and which pictures it is predicted from.
#include <algorithm>

#include "Decoder/Decoder.h"

namespace Vexmora {
namespace {

constexpr std::int32_t kNoReference = 0x7FFFFFFF;

std::int32_t Reference(std::int32_t inFrame, std::int8_t inDelta) {
    return inDelta != 0 ? inFrame + inDelta : kNoReference;
}

}  // namespace

bool Decoder::IsFrameValid(std::int32_t inFrame) const {
    return inFrame >= 0 && inFrame < mFrameCount &&
           IsValid(mIndex.records[static_cast<std::size_t>(inFrame)]);
}

// Frame 0 is the answer when nothing better is there; it is never tested.
std::int32_t Decoder::GetLastGoodFrame(std::int32_t inFrame) const {
    std::int32_t frame = std::min(inFrame, mFrameCount - 1);
    while (frame > 0 && !IsFrameValid(frame)) --frame;
    return std::max(frame, 0);
}

Vexmora_Status Decoder::GetFrameDependancies(std::int32_t inFrame, std::int32_t& outForward,
                                             std::int32_t& outBackward) const {
    if (inFrame < 0 || inFrame >= mFrameCount) return Vexmora_NoSuchFrame;
    const FrameRecord& record = mIndex.records[static_cast<std::size_t>(inFrame)];
    if (PictureCodingType(record) == 0) return Vexmora_NoCodedPicture;
    outForward = Reference(inFrame, record.pastRefDelta);
    outBackward = Reference(inFrame, record.futureRefDelta);
    for (const std::int32_t reference : {outForward, outBackward}) {
        if (reference != kNoReference && (reference < 0 || reference >= mFrameCount))
            return Vexmora_NoSuchFrame;
    }
    if (record.size == 0) return Vexmora_NoSuchFrame;
    for (std::int32_t* reference : {&outForward, &outBackward}) {
        if (*reference != kNoReference) *reference = GetLastGoodFrame(*reference);
    }
    return Vexmora_Ok;
}

}  // namespace Vexmora
