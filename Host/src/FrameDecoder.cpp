// The decode chain: dependencies, cache, decoding in the order of coding.
#include "FrameDecoder.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <tuple>
#include <utility>

#include "Soundness.h"

namespace VexmoraHost {
namespace {

using Vexmora::FramePlanes;
using Vexmora::FrameRecord;
using Vexmora::PictureCodingType;

constexpr std::uint8_t kMidGrey = 128;

// The samples live as long as the picture.
struct DecodedPicture {
    PlaneMemory memory;
    Picture picture;
};

// Shows the samples of another frame's picture, which it holds on to.
struct StandIn {
    SharedPicture original;
    Picture picture;
};

template <typename Owner>
SharedPicture PictureIn(const std::shared_ptr<Owner>& inOwner) {
    return {inOwner, &inOwner->picture};
}

SharedPicture StandInFor(const SharedPicture& inOriginal) {
    const auto standIn = std::make_shared<StandIn>(StandIn{inOriginal, *inOriginal});
    standIn->picture.damage.standsIn = true;
    return PictureIn(standIn);
}

// The library only reads references, but takes them in the same record as its output.
FramePlanes PlanesOf(const Picture& inPicture) {
    const auto samples = [](const Plane& inPlane) { return const_cast<std::uint8_t*>(inPlane.samples); };
    return {{samples(inPicture.luma), samples(inPicture.cb), samples(inPicture.cr)}};
}

PlaneBytes LeastBytes(Vexmora_Handle inHandle) {
    PlaneBytes least;
    static_cast<void>(Vexmora_GetFrameSizes(inHandle, &least.luma, &least.chroma));  // always succeeds
    return least;
}

// A wild index may reach the same picture along more ways than can be counted.
std::uint64_t AddUpTo(std::uint64_t inLeft, std::uint64_t inRight) {
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return inLeft > most - inRight ? most : inLeft + inRight;
}

}  // namespace

FrameDecoder::FrameDecoder(const FrameSource& inSource, Scale inScale)
    : mSource(inSource),
      mLayout(LayoutOf(inSource.info, LeastBytes(inSource.handle), inScale)),
      mLostAnchors(inSource.records) {}

SharedPicture FrameDecoder::Frame(std::uint32_t inFrame) {
    if (mLayout.Macroblocks() == 0) return nullptr;  // a wild sequence header
    const auto record = static_cast<std::int32_t>(mSource.firstFrame + inFrame);
    if (IsValid(record)) return Obtain(record);
    const auto standIn = FindStandIn(inFrame);
    if (!standIn) return nullptr;
    return StandInFor(Obtain(static_cast<std::int32_t>(mSource.firstFrame + *standIn)));
}

// ---- What the index says ----------------------------------------------------------------------------------

bool FrameDecoder::IsValid(std::int32_t inRecord) const {
    return Vexmora_IsFrameValid(mSource.handle, inRecord) == 1;
}

// Pictures before the first usable one get numbers that no frame has; they are never handed out.
std::uint32_t FrameDecoder::FrameOf(std::int32_t inRecord) const {
    return static_cast<std::uint32_t>(inRecord) - mSource.firstFrame;
}

// By position in the stream. Pictures that begin in the same packet share it: of these, anchors are coded in
// display order, and B pictures after the anchors that they are predicted from.
bool FrameDecoder::IsCodedBefore(std::int32_t inRecord, std::int32_t inOther) const {
    const auto place = [this](std::int32_t inIndex) {
        const FrameRecord& record = mSource.records[static_cast<std::size_t>(inIndex)];
        const std::uint64_t offset = record.offset;  // a packed record's members take no reference
        return std::tuple(offset, PictureCodingType(record) == Vexmora::kPictureTypeB, inIndex);
    };
    return place(inRecord) < place(inOther);
}

// The nearest valid frame before, else the nearest one behind.
std::optional<std::uint32_t> FrameDecoder::FindStandIn(std::uint32_t inFrame) const {
    const auto first = static_cast<std::int32_t>(mSource.firstFrame);
    const std::int32_t lastGood =
        Vexmora_GetLastGoodFrame(mSource.handle, first + static_cast<std::int32_t>(inFrame));
    if (lastGood >= first && IsValid(lastGood)) return static_cast<std::uint32_t>(lastGood - first);
    for (std::uint32_t frame = inFrame + 1; frame < mSource.frameCount; ++frame) {
        if (IsValid(first + static_cast<std::int32_t>(frame))) return frame;
    }
    return std::nullopt;
}

// The library offers another picture in place of a reference that the stream does not hold, and so does the
// index where it cannot know.
FrameDecoder::References FrameDecoder::FindReferences(std::int32_t inRecord) const {
    References references;
    std::array<std::int32_t, 2> offered{kNone, kNone};
    references.status =
        Vexmora_GetFrameDependancies(mSource.handle, inRecord, &offered[kPast], &offered[kFuture]);
    if (references.status != Vexmora_Ok) return references;
    const FrameRecord& record = mSource.records[static_cast<std::size_t>(inRecord)];
    const unsigned type = PictureCodingType(record);
    references.isNeeded = {type != Vexmora::kPictureTypeI, type == Vexmora::kPictureTypeB};
    const std::array deltas{record.pastRefDelta, record.futureRefDelta};
    for (const Direction direction : {kPast, kFuture}) {
        if (!references.isNeeded[direction]) continue;
        const std::int32_t reference = offered[direction];
        const bool counts = reference != kNone && IsValid(reference) && IsCodedBefore(reference, inRecord);
        if (counts) references.records[direction] = reference;
        if (!counts || reference != inRecord + deltas[direction]) ++references.lost;
    }
    if (references.lost == 0 && mLostAnchors.AreMissedBy(static_cast<std::size_t>(inRecord)))
        references.lost = 1;
    return references;
}

// ---- The chain --------------------------------------------------------------------------------------------

SharedPicture FrameDecoder::Obtain(std::int32_t inRecord) {
    mChain.clear();
    for (const std::int32_t record : Collect(inRecord)) {
        Link& link = mChain.at(record);
        link.picture = Decode(record, link.references);
        Keep(record, link.picture);
        Release(link.references);
    }
    return mChain.at(inRecord).picture;
}

// Step 1; returns what is to be decoded, in this order.
std::vector<std::int32_t> FrameDecoder::Collect(std::int32_t inRecord) {
    std::vector<std::int32_t> missing;
    std::vector<std::int32_t> pending{inRecord};
    mChain.try_emplace(inRecord);
    while (!pending.empty()) {
        const std::int32_t record = pending.back();
        pending.pop_back();
        Link& link = mChain.at(record);
        link.picture = FindInCache(record);
        if (link.picture != nullptr) continue;
        missing.push_back(record);
        link.references = FindReferences(record);
        for (const std::int32_t reference : link.references.records) {
            if (reference == kNone) continue;
            const auto [used, isNew] = mChain.try_emplace(reference);
            ++used->second.users;
            if (isNew) pending.push_back(reference);
        }
    }
    std::sort(missing.begin(), missing.end(),
              [this](std::int32_t inLeft, std::int32_t inRight) { return IsCodedBefore(inLeft, inRight); });
    return missing;
}

// Lets go of pictures that nobody needs any more.
void FrameDecoder::Release(const References& inReferences) {
    for (const std::int32_t reference : inReferences.records) {
        if (reference == kNone) continue;
        Link& used = mChain.at(reference);
        if (--used.users == 0) used.picture.reset();
    }
}

// ---- One picture ------------------------------------------------------------------------------------------

SharedPicture FrameDecoder::Decode(std::int32_t inRecord, const References& inReferences) const {
    const auto decoded = std::make_shared<DecodedPicture>();
    decoded->memory = mSource.pool.Take(mLayout.bytes);
    const FramePlanes output = PlanesIn(decoded->memory.Bytes(), mLayout);
    PlaneMemory grey;
    const auto references = ReferencePlanes(inReferences, grey);
    const bool hasPast = inReferences.records[kPast] != kNone;
    const FramePlanes concealment = references[hasPast ? kPast : kFuture];

    PictureDamage& damage = decoded->picture.damage;
    damage.status = inReferences.status;
    if (damage.status == Vexmora_Ok) {
        MarkMacroblocks(mLayout, output);
        const DecodeModes modes = ModesOf(mLayout.scale);
        damage.status = Vexmora_GetFrame(mSource.handle, inRecord, &references[kPast], &references[kFuture],
                                         &output, modes.mode, modes.subMode);
    }
    if (damage.status == Vexmora_Ok) {
        damage.macroblocks = ConcealFailures(mLayout, concealment, output);
    } else {
        damage.macroblocks = mLayout.Macroblocks();
        ConcealAll(mLayout, concealment, output);
    }
    damage.inherited = InheritedDamage(inReferences);
    decoded->picture.frame = FrameOf(inRecord);
    ShowPlanes(output, mLayout, decoded->picture);
    return PictureIn(decoded);
}

// Those that are lost are grey: without planes the library would predict from what its output held.
std::array<FramePlanes, 2> FrameDecoder::ReferencePlanes(const References& inReferences,
                                                         PlaneMemory& ioGrey) const {
    std::array<FramePlanes, 2> planes{};
    for (const Direction direction : {kPast, kFuture}) {
        const std::int32_t reference = inReferences.records[direction];
        if (reference != kNone) {
            planes[direction] = PlanesOf(*mChain.at(reference).picture);
        } else if (inReferences.isNeeded[direction]) {
            if (ioGrey.Bytes() == nullptr) {
                ioGrey = mSource.pool.Take(mLayout.bytes);
                std::memset(ioGrey.Bytes(), kMidGrey, ioGrey.Size());
            }
            planes[direction] = PlanesIn(ioGrey.Bytes(), mLayout);
        }
    }
    return planes;
}

const PictureDamage& FrameDecoder::DamageOf(std::int32_t inRecord) const {
    return mChain.at(inRecord).picture->damage;
}

// A lost reference counts as a whole picture. The past of a B picture has been counted already when its
// future is predicted from it.
std::uint64_t FrameDecoder::InheritedDamage(const References& inReferences) const {
    std::uint64_t inherited = std::uint64_t{inReferences.lost} * mLayout.Macroblocks();
    const std::int32_t past = inReferences.records[kPast];
    const std::int32_t future = inReferences.records[kFuture];
    const auto add = [&](std::int32_t inRecord) {
        const PictureDamage& damage = DamageOf(inRecord);
        inherited = AddUpTo(inherited, AddUpTo(damage.macroblocks, damage.inherited));
    };
    if (future != kNone) add(future);
    const bool isCounted =
        future != kNone && (future == past || FindReferences(future).records[kPast] == past);
    if (past != kNone && !isCounted) add(past);
    return inherited;
}

// ---- The cache --------------------------------------------------------------------------------------------

FrameCache::Key FrameDecoder::KeyOf(std::int32_t inRecord) const {
    return {mSource.cacheId, static_cast<std::uint32_t>(inRecord), mLayout.scale};
}

// A file that was changed behind its identity may have had pictures of another size.
SharedPicture FrameDecoder::FindInCache(std::int32_t inRecord) const {
    SharedPicture picture = mSource.cache.Find(KeyOf(inRecord));
    if (picture == nullptr) return nullptr;
    const Plane& luma = picture->luma;
    const bool fits = luma.width == mLayout.width && luma.height == mLayout.height &&
                      luma.stride == mLayout.lumaStride && picture->frame == FrameOf(inRecord);
    return fits ? picture : nullptr;
}

// The next attempt may succeed where this one lacked memory.
void FrameDecoder::Keep(std::int32_t inRecord, const SharedPicture& inPicture) const {
    if (inPicture->damage.status == Vexmora_Failure) return;
    mSource.cache.Add(KeyOf(inRecord), inPicture, mLayout.bytes);
}

}  // namespace VexmoraHost
