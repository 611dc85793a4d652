// Formats, and the second fields that are predicted from another frame.
#include "sources/SourceMedia.h"

#include <algorithm>
#include <utility>

#include "VexmoraHost/Error.h"

namespace VexmoraHost {
namespace {

// What its first field, an I picture, does not tell.
bool MayNeedPast(const CodedFrame& inFrame) {
    return inFrame.IsFieldPair() && inFrame.PictureCodingType() == Vexmora::kPictureTypeI &&
           inFrame.SecondFieldType() == Vexmora::kPictureTypeP;
}

}  // namespace

SourceMedia::SourceMedia(OpenVideo inOpen, const CodedVideo& inVideo, const SourceIndex& inIndex)
    : mOpen(std::move(inOpen)), mVideo(inVideo), mIndex(inIndex) {
    for (const SequenceParameterSet& parameters : mVideo.parameters) {
        mSequences.push_back(MakeSequence(parameters));
    }
    if (mFormats.empty()) mFormats.emplace_back();
    if (std::none_of(mVideo.frames.begin(), mVideo.frames.end(), MayNeedPast)) return;
    mRecords.assign(mVideo.frames.size(), kNoRecord);
    for (std::size_t record = 0; record < mIndex.frames.size(); ++record) {
        const std::uint32_t frame = mIndex.frames[record];
        if (frame != kNoCodedFrame) mRecords[frame] = static_cast<std::int32_t>(record);
    }
}

SourceMedia::Sequence SourceMedia::MakeSequence(const SequenceParameterSet& inParameters) {
    PictureFormat format;
    if (BufferInstance instance(0); instance.Use(inParameters)) format = instance.Format();
    const auto isSame = [&](const PictureFormat& in) {
        return in.info.width == format.info.width && in.info.height == format.info.height;
    };
    const auto known = std::find_if(mFormats.begin(), mFormats.end(), isSame);
    const auto number = static_cast<std::size_t>(known - mFormats.begin());
    if (known == mFormats.end()) mFormats.push_back(format);
    return {format.info, number};
}

const CodedFrame* SourceMedia::FrameOf(std::int32_t inRecord) const {
    if (inRecord < 0 || static_cast<std::size_t>(inRecord) >= mIndex.frames.size()) return nullptr;
    const std::uint32_t frame = mIndex.frames[static_cast<std::size_t>(inRecord)];
    return frame == kNoCodedFrame ? nullptr : &mVideo.frames[frame];
}

std::size_t SourceMedia::FormatOf(std::int32_t inRecord) const {
    const CodedFrame* const frame = FrameOf(inRecord);
    return frame == nullptr ? 0 : mSequences[frame->parameters].format;
}

const Vexmora::FileInfo& SourceMedia::InfoOf(std::int32_t inRecord) const {
    const CodedFrame* const frame = FrameOf(inRecord);
    return frame == nullptr ? mFormats.front().info : mSequences[frame->parameters].info;
}

std::unique_ptr<SourceReader> SourceMedia::Open() const {
    try {
        return std::make_unique<SourceReader>(mOpen(), mVideo, mIndex.frames,
                                              mIndex.index.header.maxPictureSize);
    } catch (const Error&) {
        return nullptr;
    }
}

bool SourceMedia::IsOfFields(std::int32_t inRecord) const {
    const CodedFrame* const frame = FrameOf(inRecord);
    return frame != nullptr && frame->IsField();
}

std::int32_t SourceMedia::PastOfIntra(std::int32_t inRecord) const {
    const CodedFrame* const frame = FrameOf(inRecord);
    if (frame == nullptr || !MayNeedPast(*frame)) return kNoRecord;
    auto number = static_cast<std::uint32_t>(frame - mVideo.frames.data());
    if (!NeedsPast(number)) return kNoRecord;
    while (number > 0 && mVideo.frames[number - 1].PictureCodingType() == Vexmora::kPictureTypeB) --number;
    return number > 0 ? mRecords[number - 1] : kNoRecord;
}

// Takes decoding a picture, once. Where it cannot be had, nothing is lost by a reference too many.
bool SourceMedia::NeedsPast(std::uint32_t inFrame) const {
    const std::lock_guard lock(mMutex);
    const auto known = mNeedPast.find(inFrame);
    if (known != mNeedPast.end()) return known->second;
    if (mReader == nullptr) mReader = Open();
    const bool isNeeded = mReader == nullptr || mReader->NeedsPast(mVideo.frames[inFrame]);
    return mNeedPast.emplace(inFrame, isNeeded).first->second;
}

}  // namespace VexmoraHost
