// Predictions by frame, by field, by halves and dual prime, at all scales.
#include "mpeg2/MotionCompensation.h"

#include <algorithm>

#include "Vexmora/Records.h"

namespace Vexmora {
namespace {

// The vector at the output's scale.
template <DecodeScale kScale>
MotionVector ScaleVector(MotionVector inVector) {
    if (kScale != DecodeScale::Full) inVector.x = static_cast<std::int16_t>(inVector.x / 2);
    if (kScale == DecodeScale::Quarter) inVector.y = static_cast<std::int16_t>(inVector.y / 2);
    return inVector;
}

ReferenceBlock BlockAt(const std::uint8_t* inPlane, std::ptrdiff_t inStep, std::int32_t inHalfX,
                       std::int32_t inHalfY) {
    return {inPlane + (inHalfY >> 1) * inStep + (inHalfX >> 1), inStep,
            static_cast<HalfSampleType>((inHalfX & 1) * 8 + (inHalfY & 1) * 4)};
}

constexpr ResidualBlock kNoResidual{};

// Rows of macroblocks touch more lines of memory than processors foresee, so what the macroblocks to the
// right are going to take is fetched early: every block of kWidth x kHeight samples does so for its share of
// the rows, and together those above one line of the cache do it for all. Inlined by force: GCC takes a
// function that only prefetches for one without effect and drops its calls, which costs 7 to 9 % of the time
// at full size.
template <std::int32_t kWidth, std::int32_t kHeight>
[[gnu::always_inline]] inline void FetchAhead(const std::uint8_t* inBlock, std::ptrdiff_t inStep,
                                              std::uint32_t inColumn) {
    constexpr std::int32_t kCacheLine = 64;
    constexpr std::int32_t kShare = std::max(kHeight * kWidth / kCacheLine, 1);
    constexpr std::uint32_t kTurns = kHeight / kShare;
    const std::uint8_t* row =
        inBlock + kCacheLine + static_cast<std::ptrdiff_t>(inColumn % kTurns) * (kShare * inStep);
    for (std::int32_t i = 0; i < kShare; ++i, row += inStep) __builtin_prefetch(row);
}

}  // namespace

template <DecodeScale kScale>
MotionCompensation<kScale>::MotionCompensation(const PictureContext& inPicture)
    : mPicture(inPicture),
      mLines(LinesOf(inPicture.parameters.picture)),
      mForward(SurfacesOf(inPicture.forward)),
      mBackward(SurfacesOf(inPicture.backward)),
      mOutput(SurfacesOf(inPicture.output)) {}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::Predict(const Prediction& inPrediction,
                                                 const MacroblockPosition& inPosition,
                                                 UnpredictedLines& outUnpredicted) const {
    if (mLines == Lines::Frame) return PredictFrameMacroblock(inPrediction, inPosition, outUnpredicted);
    return PredictFieldMacroblock(inPrediction, inPosition, outUnpredicted);
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictFrameMacroblock(const Prediction& inPrediction,
                                                                const MacroblockPosition& inPosition,
                                                                UnpredictedLines& outUnpredicted) const {
    const Place place{inPosition.column * kWidth, inPosition.row * kHeight};
    if (inPrediction.type == MotionType::Whole) {
        Sources sources;
        constexpr auto kFrame = static_cast<std::size_t>(Lines::Frame);
        if (inPrediction.directions[kForward]) {
            sources.Add(mForward[kFrame], inPrediction.vectors[0][kForward]);
        }
        if (inPrediction.directions[kBackward]) {
            sources.Add(mBackward[kFrame], inPrediction.vectors[0][kBackward]);
        }
        return PredictWhole(mOutput[kFrame], place, sources, outUnpredicted);
    }
    outUnpredicted.areFields = true;
    for (const std::size_t field : {0U, 1U}) {
        const Lines lines = FieldLines(field == 1);
        Sources sources;
        if (inPrediction.type == MotionType::DualPrime) {
            sources.Add(mForward[static_cast<std::size_t>(lines)], inPrediction.vectors[0][kForward]);
            sources.Add(mForward[static_cast<std::size_t>(OtherField(lines))],
                        inPrediction.dualPrimeVectors[field]);
        } else {
            sources = FieldSources(inPrediction, field);
        }
        const DecodeStatus status =
            PredictPart<true>(mOutput[static_cast<std::size_t>(lines)], {place.x, place.y / 2}, sources,
                              outUnpredicted.parts[field]);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictFieldMacroblock(const Prediction& inPrediction,
                                                                const MacroblockPosition& inPosition,
                                                                UnpredictedLines& outUnpredicted) const {
    const Surface& target = mOutput[static_cast<std::size_t>(mLines)];
    const Place place{inPosition.column * kWidth, inPosition.row * kHeight};
    if (inPrediction.type != MotionType::Halves) {
        Sources sources;
        if (inPrediction.type == MotionType::DualPrime) {
            const Lines other = OtherField(mLines);
            sources.Add(mForward[static_cast<std::size_t>(mLines)], inPrediction.vectors[0][kForward]);
            sources.Add(ForwardField(other)[static_cast<std::size_t>(other)],
                        inPrediction.dualPrimeVectors[0]);
        } else {
            sources = FieldSources(inPrediction, 0);
        }
        return PredictWhole(target, place, sources, outUnpredicted);
    }
    for (const std::size_t half : {0U, 1U}) {
        const DecodeStatus status =
            PredictPart<true>(target, {place.x, place.y + static_cast<std::int32_t>(half) * kHeight / 2},
                              FieldSources(inPrediction, half), outUnpredicted.parts[half]);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
auto MotionCompensation<kScale>::FieldSources(const Prediction& inPrediction, std::size_t inVector) const
    -> Sources {
    Sources sources;
    for (const Direction direction : {kForward, kBackward}) {
        if (!inPrediction.directions[direction]) continue;
        const Lines field = FieldLines(inPrediction.fromBottomField[inVector][direction]);
        const SurfacesByLines& frame = direction == kForward ? ForwardField(field) : mBackward;
        sources.Add(frame[static_cast<std::size_t>(field)], inPrediction.vectors[inVector][direction]);
    }
    return sources;
}

// The second field of a P frame is predicted from the first one, too, which is already in the output.
template <DecodeScale kScale>
auto MotionCompensation<kScale>::ForwardField(Lines inField) const -> const SurfacesByLines& {
    const bool isFirstFieldOfFrame = mLines != Lines::Frame && inField != mLines &&
                                     mPicture.parameters.secondField &&
                                     mPicture.parameters.picture.pictureCodingType == kPictureTypeP;
    return isFirstFieldOfFrame ? mOutput : mForward;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::CopySkipped(const MacroblockPosition& inPosition) const {
    const Surface& source = mForward[static_cast<std::size_t>(mLines)];
    const Surface& target = mOutput[static_cast<std::size_t>(mLines)];
    if (!HasPlanes(source)) return DecodeStatus::Failed;
    if (source.samples == target.samples) return DecodeStatus::Ok;  // its own reference stands in
    Sources sources;
    sources.Add(source, {});
    bool isUnpredicted = false;
    return PredictPart<false>(target, {inPosition.column * kWidth, inPosition.row * kHeight}, sources,
                              isUnpredicted);
}

// False if the block would begin before its plane.
template <DecodeScale kScale>
bool MotionCompensation<kScale>::MoveInside(const Place& inMost, std::ptrdiff_t inStep, bool inIsBottomField,
                                            HalfSamplePoint& ioPoint) {
    const std::ptrdiff_t firstLine = inIsBottomField ? inStep / 2 : 0;
    if (firstLine + (ioPoint.y >> 1) * inStep + (ioPoint.x >> 1) < 0) return false;
    ioPoint.x = std::clamp(ioPoint.x, 0, inMost.x);
    ioPoint.y = std::clamp(ioPoint.y, 0, inMost.y);
    return true;
}

// Finds what the blocks at inPlace are predicted from. False if one of them would begin before its plane. At
// the last position no half sample is left, so that nothing behind it is read.
template <DecodeScale kScale>
template <std::int32_t kPartHeight>
[[gnu::always_inline]] inline bool MotionCompensation<kScale>::Locate(const Source& inSource,
                                                                      const Place& inPlace,
                                                                      References& outReferences) {
    const Surface& surface = *inSource.surface;
    const MotionVector vector = ScaleVector<kScale>(inSource.vector);
    HalfSamplePoint luma{inPlace.x * 2 + vector.x, inPlace.y * 2 + vector.y};
    HalfSamplePoint chroma{inPlace.x + vector.x / 2, inPlace.y + vector.y / 2};
    const Place most{(surface.width - kWidth) * 2, (surface.height - kPartHeight) * 2};
    // A vector that stays inside in luma does so in chroma, where all is half as large.
    if ((luma.x | luma.y | (most.x - luma.x) | (most.y - luma.y)) < 0) [[unlikely]] {
        if (!MoveInside(most, surface.lumaStep, surface.isBottomField, luma) ||
            !MoveInside({most.x / 2, most.y / 2}, surface.chromaStep, surface.isBottomField, chroma)) {
            return false;
        }
    }
    outReferences = {BlockAt(surface.samples[0], surface.lumaStep, luma.x, luma.y),
                     BlockAt(surface.samples[1], surface.chromaStep, chroma.x, chroma.y),
                     BlockAt(surface.samples[2], surface.chromaStep, chroma.x, chroma.y)};
    return true;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictWhole(const Surface& inTarget, const Place& inPlace,
                                                      const Sources& inSources,
                                                      UnpredictedLines& outUnpredicted) const {
    const DecodeStatus status = PredictPart<false>(inTarget, inPlace, inSources, outUnpredicted.parts[0]);
    outUnpredicted.parts[1] = outUnpredicted.parts[0];
    return status;
}

template <DecodeScale kScale>
template <bool kIsHalf>
DecodeStatus MotionCompensation<kScale>::PredictPart(const Surface& inTarget, const Place& inPlace,
                                                     const Sources& inSources, bool& outIsUnpredicted) const {
    outIsUnpredicted = true;
    switch (inSources.count) {
        case 1:
            return PredictFrom<kIsHalf, 1>(inTarget, inPlace, inSources, outIsUnpredicted);
        case 2:
            return PredictFrom<kIsHalf, 2>(inTarget, inPlace, inSources, outIsUnpredicted);
        default:
            return DecodeStatus::Ok;
    }
}

template <DecodeScale kScale>
template <bool kIsHalf, std::size_t kCount>
DecodeStatus MotionCompensation<kScale>::PredictFrom(const Surface& inTarget, const Place& inPlace,
                                                     const Sources& inSources, bool& outIsUnpredicted) const {
    constexpr std::int32_t kPartHeight = kIsHalf ? kHeight / 2 : kHeight;
    const auto column = static_cast<std::uint32_t>(inPlace.x) / kWidth;
    const auto fetchAhead = [column](const auto& inBlocks) __attribute__((always_inline)) {
        FetchAhead<kWidth, kPartHeight>(inBlocks[0].samples, inBlocks[0].step, column);
        FetchAhead<kWidth / 2, kPartHeight / 2>(inBlocks[1].samples, inBlocks[1].step, column);
        FetchAhead<kWidth / 2, kPartHeight / 2>(inBlocks[2].samples, inBlocks[2].step, column);
    };
    std::array<References, kCount> references;
    for (std::size_t i = 0; i < kCount; ++i) {
        const Source& source = inSources.pieces[i];
        if (!HasPlanes(*source.surface)) return DecodeStatus::Failed;
        if (!Locate<kPartHeight>(source, inPlace, references[i])) return DecodeStatus::Ok;
        fetchAhead(references[i]);
    }
    outIsUnpredicted = false;
    const std::ptrdiff_t lumaOffset = inPlace.y * inTarget.lumaStep + inPlace.x;
    const std::ptrdiff_t chromaOffset = (inPlace.y >> 1) * inTarget.chromaStep + (inPlace.x >> 1);
    const std::array<PixelBlock, kComponents> targets{
        PixelBlock{inTarget.samples[0] + lumaOffset, inTarget.lumaStep},
        PixelBlock{inTarget.samples[1] + chromaOffset, inTarget.chromaStep},
        PixelBlock{inTarget.samples[2] + chromaOffset, inTarget.chromaStep}};
    fetchAhead(targets);

    const PrimitiveTable& primitives = mPicture.primitives;
    const auto predict = [&](std::size_t inComponent, BlockSize inSize) {
        const auto size = static_cast<std::size_t>(inSize);
        const ReferenceBlock& first = references[0][inComponent];
        PrimitiveStatus status;
        if constexpr (kCount == 1) {
            status = primitives.predictBlock[size](first, kNoResidual, targets[inComponent]);
        } else {
            status = primitives.predictBlockBidirectional[size](first, references[1][inComponent],
                                                                kNoResidual, targets[inComponent]);
        }
        return status == PrimitiveStatus::Ok;
    };
    constexpr BlockSize kLumaSize = kIsHalf ? Traits::kHalfLuma : Traits::kWholeLuma;
    constexpr BlockSize kChromaSize = kIsHalf ? Traits::kHalfChroma : Traits::kWholeChroma;
    const bool isWritten = predict(0, kLumaSize) && predict(1, kChromaSize) && predict(2, kChromaSize);
    return isWritten ? DecodeStatus::Ok : DecodeStatus::Failed;
}

template <DecodeScale kScale>
auto MotionCompensation<kScale>::SurfacesOf(const YV12Frame& inFrame) const -> SurfacesByLines {
    if (!inFrame.HasPlanes()) return {};
    const PlanePitches pitches = PitchesAt(kScale, inFrame.pitch);
    const auto rows = static_cast<std::int32_t>(PlaneMacroblockRows(mPicture.parameters.sequence));
    const Surface frame{.samples = {inFrame.luma, inFrame.cb, inFrame.cr},
                        .lumaStep = pitches.luma,
                        .chromaStep = pitches.chroma,
                        .width = mPicture.MacroblockColumns() * kWidth,
                        .height = rows * kHeight};
    Surface top = frame;
    top.lumaStep *= 2;
    top.chromaStep *= 2;
    top.height /= 2;
    Surface bottom = top;
    bottom.samples[0] += frame.lumaStep;
    bottom.samples[1] += frame.chromaStep;
    bottom.samples[2] += frame.chromaStep;
    bottom.isBottomField = true;
    return {frame, top, bottom};  // in the order of Lines
}

template class MotionCompensation<DecodeScale::Full>;
template class MotionCompensation<DecodeScale::HalfWidth>;
template class MotionCompensation<DecodeScale::Quarter>;

}  // namespace Vexmora
