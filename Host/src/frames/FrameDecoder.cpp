// One frame by way of a plan, on the calling thread.
#include "frames/FrameDecoder.h"

#include <memory>
#include <string>
#include <utility>

namespace VexmoraHost {
namespace {

struct StandIn {
    SharedPicture original;
    Picture picture;
};

// Whether the next attempt may succeed where this one lacked memory or could not read the file.
bool MayPass(Vexmora_Status inStatus) {
    return inStatus == Vexmora_Failure || inStatus == Vexmora_NoSequenceHeader;
}

}  // namespace

Error NoPictureFor(std::uint32_t inFrame, const std::filesystem::path& inMovie) {
    return {Vexmora_NoSuchFrame, inMovie,
            "holds no picture for frame " + std::to_string(inFrame) + " nor any to stand in for it",
            "the stream is damaged or was cut"};
}

SharedPicture StandInFor(const SharedPicture& inPicture) {
    const auto standIn = std::make_shared<StandIn>(StandIn{inPicture, *inPicture});
    standIn->picture.damage.standsIn = true;
    return {standIn, &standIn->picture};
}

FrameDecoder::FrameDecoder(const FrameSource& inSource, Scale inScale)
    : mSource(inSource), mGraph(inSource), mPictures(inSource, inScale) {}

SharedPicture FrameDecoder::Frame(std::uint32_t inFrame) {
    const std::int32_t wanted = RecordShownAt(inFrame);
    if (wanted == kNoRecord) return nullptr;
    SharedPicture picture = mPictures.FindInCache(wanted);
    if (picture == nullptr) picture = Decode(wanted);
    return mSource.FrameOf(wanted) == inFrame ? picture : StandInFor(picture);
}

std::int32_t FrameDecoder::RecordShownAt(std::uint32_t inFrame) const {
    const std::int32_t record = mGraph.RecordShownAt(inFrame);
    return record == kNoRecord || mPictures.LayoutOf(record).Macroblocks() == 0 ? kNoRecord : record;
}

SharedPicture FrameDecoder::Decode(std::int32_t inRecord) {
    DecodePlan plan([this](std::int32_t inPicture) { return LookUp(inPicture); });
    plan.Want(inRecord);
    bool isForGood = true;
    while (const auto task = plan.Start()) {
        const SharedPicture picture = mPictures.Make(mSource.reader, *task);
        // Later pictures of the chain may be predicted from one that the next attempt makes better.
        isForGood = isForGood && !MayPass(picture->damage.status);
        if (isForGood) mPictures.Keep(task->record, picture);
        plan.Finish(task->record, picture);
    }
    return plan.Find(inRecord);
}

DecodePlan::Known FrameDecoder::LookUp(std::int32_t inRecord) const {
    SharedPicture picture = mPictures.FindInCache(inRecord);
    if (picture != nullptr) return {.picture = std::move(picture)};
    return {.references = mGraph.FindReferences(inRecord), .place = mGraph.PlaceOf(inRecord)};
}

}  // namespace VexmoraHost
