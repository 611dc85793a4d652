// Decoding into marked planes, concealment, the account of damage; the frame cache.
#include "frames/PictureDecoder.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <span>

#include "frames/DamageDetection.h"

namespace VexmoraHost {
namespace {

using Vexmora::FramePlanes;

// The samples live as long as the picture.
struct DecodedPicture {
    MemoryBlock memory;
    Picture picture;
};

// The library only reads references, but takes them in the same record as its output.
FramePlanes PlanesOf(const Picture& inPicture) {
    const auto samples = [](const Plane& inPlane) { return const_cast<std::uint8_t*>(inPlane.samples); };
    return {{samples(inPicture.luma), samples(inPicture.cb), samples(inPicture.cr)}};
}

std::vector<PictureLayout> LayoutsOf(std::span<const PictureFormat> inFormats, Scale inScale) {
    std::vector<PictureLayout> layouts;
    for (const PictureFormat& format : inFormats) {
        layouts.push_back(VexmoraHost::LayoutOf(format.info, format.least, inScale));
    }
    return layouts;
}

// A wild index may reach the same picture along more ways than can be counted.
std::uint64_t AddUpTo(std::uint64_t inLeft, std::uint64_t inRight) {
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return inLeft > most - inRight ? most : inLeft + inRight;
}

}  // namespace

PictureDecoder::PictureDecoder(const FrameSource& inSource, Scale inScale)
    : mSource(inSource), mLayouts(LayoutsOf(inSource.media.Formats(), inScale)) {}

const PictureLayout& PictureDecoder::LayoutOf(std::int32_t inRecord) const {
    return mLayouts[mSource.media.FormatOf(inRecord)];
}

std::size_t PictureDecoder::MostBytes() const {
    return std::ranges::max_element(mLayouts, {}, &PictureLayout::bytes)->bytes;
}

SharedPicture PictureDecoder::Make(PictureReader& ioReader, const PictureTask& inTask) const {
    const PictureLayout& layout = LayoutOf(inTask.record);
    const auto decoded = std::make_shared<DecodedPicture>();
    decoded->memory = MemoryBlock(mSource.memory, layout.bytes);
    const FramePlanes output = PlanesIn(decoded->memory.Bytes(), layout);
    MemoryBlock grey;
    const auto references = PlanesOfReferences(inTask, grey);
    const FramePlanes concealment = references[inTask.predictedFrom[kPast] != nullptr ? kPast : kFuture];

    const bool isOfFields = mSource.media.IsOfFields(inTask.record);
    PictureDamage& damage = decoded->picture.damage;
    damage.status = inTask.references.status;
    if (damage.status == Vexmora_Ok) {
        if (isOfFields) ConcealAll(layout, concealment, output);
        MarkMacroblocks(layout, output);
        const DecodeModes modes = ModesOf(layout.scale);
        damage.status =
            ioReader.Decode(inTask.record, {references[kPast], references[kFuture]}, output, modes);
    }
    const bool hasFailedFields = isOfFields && damage.status == Vexmora_NoSuchFrame;
    if (hasFailedFields) damage.status = Vexmora_Ok;
    if (damage.status == Vexmora_Ok) {
        damage.macroblocks = ConcealFailures(layout, concealment, references, output,
                                             mSource.concealErrors ? Failed::AreConcealed : Failed::StayRed);
        // The last macroblock of a row may have failed, which leaves no mark.
        if (hasFailedFields) damage.macroblocks = std::max(damage.macroblocks, 1u);
    } else {
        damage.macroblocks = layout.Macroblocks();
        ConcealAll(layout, concealment, output);
    }
    damage.inherited = InheritedDamage(inTask);
    decoded->picture.frame = mSource.FrameOf(inTask.record);
    ShowPlanes(output, layout, decoded->picture);
    return {decoded, &decoded->picture};
}

// Those that are lost are grey: without planes the library would predict from what its output held.
std::array<FramePlanes, 2> PictureDecoder::PlanesOfReferences(const PictureTask& inTask,
                                                              MemoryBlock& ioGrey) const {
    const PictureLayout& layout = LayoutOf(inTask.record);
    std::array<FramePlanes, 2> planes{};
    for (const Direction direction : {kPast, kFuture}) {
        if (const SharedPicture& reference = inTask.predictedFrom[direction]) {
            planes[direction] = PlanesOf(*reference);
        } else if (inTask.references.isNeeded[direction]) {
            if (ioGrey.Bytes() == nullptr) {
                ioGrey = MemoryBlock(mSource.memory, layout.bytes);
                std::memset(ioGrey.Bytes(), kMidGrey, ioGrey.Size());
            }
            planes[direction] = PlanesIn(ioGrey.Bytes(), layout);
        }
    }
    return planes;
}

// A lost reference counts as a whole picture. The past of a B picture has been counted already when its
// future is predicted from it.
std::uint64_t PictureDecoder::InheritedDamage(const PictureTask& inTask) const {
    std::uint64_t inherited = std::uint64_t{inTask.references.lost} * LayoutOf(inTask.record).Macroblocks();
    for (const Direction direction : {kPast, kFuture}) {
        const SharedPicture& reference = inTask.predictedFrom[direction];
        if (reference == nullptr || (direction == kPast && inTask.references.isPastBehindFuture)) continue;
        const PictureDamage& damage = reference->damage;
        inherited = AddUpTo(inherited, AddUpTo(damage.macroblocks, damage.inherited));
    }
    return inherited;
}

// ---- The cache --------------------------------------------------------------------------------------------

FrameCache::Key PictureDecoder::KeyOf(std::int32_t inRecord) const {
    return {mSource.cacheId, static_cast<std::uint32_t>(inRecord), LayoutOf(inRecord).scale,
            mSource.concealErrors};
}

// A file that was changed behind its identity may have had pictures of another size.
SharedPicture PictureDecoder::FindInCache(std::int32_t inRecord) const {
    SharedPicture picture = mSource.cache.Find(KeyOf(inRecord));
    if (picture == nullptr) return nullptr;
    const Plane& luma = picture->luma;
    const PictureLayout& layout = LayoutOf(inRecord);
    const bool fits = luma.width == layout.width && luma.height == layout.height &&
                      luma.stride == layout.pitches.luma && picture->frame == mSource.FrameOf(inRecord);
    return fits ? picture : nullptr;
}

void PictureDecoder::Keep(std::int32_t inRecord, const SharedPicture& inPicture) const {
    mSource.cache.Add(KeyOf(inRecord), inPicture, LayoutOf(inRecord).bytes);
}

}  // namespace VexmoraHost
