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

}  // namespace

template <DecodeScale kScale>
MotionCompensation<kScale>::MotionCompensation(const PictureContext& inPicture)
    : mPicture(inPicture),
      mLines(LinesOf(inPicture.parameters.picture)),
      mForward(PlanesOf(inPicture.forward)),
      mBackward(PlanesOf(inPicture.backward)),
      mOutput(PlanesOf(inPicture.output)) {}

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
    if (inPrediction.type == MotionType::Whole) {
        Part part{.halfRow = inPosition.row * 2};
        for (const Direction direction : {kForward, kBackward}) {
            if (!inPrediction.directions[direction]) continue;
            part.Add(direction == kForward ? mForward : mBackward, Lines::Frame,
                     inPrediction.vectors[0][direction]);
        }
        return PredictWhole(part, inPosition, outUnpredicted);
    }
    outUnpredicted.areFields = true;
    for (const std::size_t field : {0U, 1U}) {
        const Lines lines = FieldLines(field == 1);
        Part part{.lines = lines, .halfRow = inPosition.row};
        if (inPrediction.type == MotionType::DualPrime) {
            part.Add(mForward, lines, inPrediction.vectors[0][kForward]);
            part.Add(mForward, OtherField(lines), inPrediction.dualPrimeVectors[field]);
        } else {
            AddFieldSources(inPrediction, field, part);
        }
        const DecodeStatus status = PredictPart<true>(part, inPosition, outUnpredicted.parts[field]);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictFieldMacroblock(const Prediction& inPrediction,
                                                                const MacroblockPosition& inPosition,
                                                                UnpredictedLines& outUnpredicted) const {
    if (inPrediction.type != MotionType::Halves) {
        Part part{.lines = mLines, .halfRow = inPosition.row * 2};
        if (inPrediction.type == MotionType::DualPrime) {
            const Lines other = OtherField(mLines);
            part.Add(mForward, mLines, inPrediction.vectors[0][kForward]);
            part.Add(ForwardField(other), other, inPrediction.dualPrimeVectors[0]);
        } else {
            AddFieldSources(inPrediction, 0, part);
        }
        return PredictWhole(part, inPosition, outUnpredicted);
    }
    for (const std::size_t half : {0U, 1U}) {
        Part part{.lines = mLines, .halfRow = inPosition.row * 2 + static_cast<std::int32_t>(half)};
        AddFieldSources(inPrediction, half, part);
        const DecodeStatus status = PredictPart<true>(part, inPosition, outUnpredicted.parts[half]);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
void MotionCompensation<kScale>::AddFieldSources(const Prediction& inPrediction, std::size_t inVector,
                                                 Part& ioPart) const {
    for (const Direction direction : {kForward, kBackward}) {
        if (!inPrediction.directions[direction]) continue;
        const Lines field = FieldLines(inPrediction.fromBottomField[inVector][direction]);
        ioPart.Add(direction == kForward ? ForwardField(field) : mBackward, field,
                   inPrediction.vectors[inVector][direction]);
    }
}

// The second field of a P frame is predicted from the first one, too, which is already in the output.
template <DecodeScale kScale>
auto MotionCompensation<kScale>::ForwardField(Lines inField) const -> const FramePlanesByLines& {
    const bool isFirstFieldOfFrame = mPicture.parameters.secondField && mLines != Lines::Frame &&
                                     inField != mLines &&
                                     mPicture.parameters.picture.pictureCodingType == kPictureTypeP;
    return isFirstFieldOfFrame ? mOutput : mForward;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::CopySkipped(const MacroblockPosition& inPosition) const {
    const Planes& sources = mForward[static_cast<std::size_t>(mLines)];
    const Planes& targets = mOutput[static_cast<std::size_t>(mLines)];
    if (!HasPlanes(sources)) return DecodeStatus::Failed;
    const Area luma = WholeLuma(inPosition);
    for (const Component component : {kLuma, kCb, kCr}) {
        const Plane& source = sources[component];
        const Plane& target = targets[component];
        if (source.samples == target.samples) continue;  // a picture that stands in for its own reference
        const Area area = component == kLuma ? luma : ChromaOf(luma);
        const BlockSize size = component == kLuma ? Traits::kWholeLuma : Traits::kWholeChroma;
        const PrimitiveStatus status = mPicture.primitives.predictBlock[static_cast<std::size_t>(size)](
            BlockAt(source, {area.x * 2, area.y * 2}), {}, PixelsAt(target, area));
        if (status != PrimitiveStatus::Ok) return DecodeStatus::Failed;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictWhole(const Part& inPart,
                                                      const MacroblockPosition& inPosition,
                                                      UnpredictedLines& outUnpredicted) const {
    const DecodeStatus status = PredictPart<false>(inPart, inPosition, outUnpredicted.parts[0]);
    outUnpredicted.parts[1] = outUnpredicted.parts[0];
    return status;
}

template <DecodeScale kScale>
template <bool kIsHalf>
DecodeStatus MotionCompensation<kScale>::PredictPart(const Part& inPart, const MacroblockPosition& inPosition,
                                                     bool& outIsUnpredicted) const {
    outIsUnpredicted = true;
    if (inPart.sourceCount == 0) return DecodeStatus::Ok;
    const Area luma{inPosition.column * 2 * Traits::kBlockWidth, inPart.halfRow * Traits::kBlockHeight,
                    2 * Traits::kBlockWidth, (kIsHalf ? 1 : 2) * Traits::kBlockHeight};
    std::array<References, 2> references;
    for (std::size_t i = 0; i < inPart.sourceCount; ++i) {
        if (!HasPlanes(*inPart.sources[i].planes)) return DecodeStatus::Failed;
        if (!Locate(inPart.sources[i], luma, references[i])) return DecodeStatus::Ok;
    }
    outIsUnpredicted = false;
    const Planes& output = mOutput[static_cast<std::size_t>(inPart.lines)];
    const PrimitiveTable& primitives = mPicture.primitives;
    const auto write = [&](Component inComponent, const Area& inArea, BlockSize inSize) {
        const auto size = static_cast<std::size_t>(inSize);
        const PixelBlock pixels = PixelsAt(output[inComponent], inArea);
        const ReferenceBlock& first = references[0][inComponent];
        const PrimitiveStatus status =
            inPart.sourceCount == 1
                ? primitives.predictBlock[size](first, {}, pixels)
                : primitives.predictBlockBidirectional[size](first, references[1][inComponent], {}, pixels);
        return status == PrimitiveStatus::Ok;
    };
    constexpr BlockSize kLumaSize = kIsHalf ? Traits::kHalfLuma : Traits::kWholeLuma;
    constexpr BlockSize kChromaSize = kIsHalf ? Traits::kHalfChroma : Traits::kWholeChroma;
    const Area chroma = ChromaOf(luma);
    const bool isWritten =
        write(kLuma, luma, kLumaSize) && write(kCb, chroma, kChromaSize) && write(kCr, chroma, kChromaSize);
    return isWritten ? DecodeStatus::Ok : DecodeStatus::Failed;
}

// Finds what the luma block at inLuma and the chroma blocks there are predicted from. False if one of them
// would begin before its plane.
template <DecodeScale kScale>
bool MotionCompensation<kScale>::Locate(const Source& inSource, const Area& inLuma,
                                        References& outReferences) {
    const Planes& planes = *inSource.planes;
    const MotionVector vector = ScaleVector<kScale>(inSource.vector);
    HalfSamplePoint luma{inLuma.x * 2 + vector.x, inLuma.y * 2 + vector.y};
    HalfSamplePoint chroma{inLuma.x + vector.x / 2, inLuma.y + vector.y / 2};
    // A vector that stays inside in luma does so in chroma, where all is half as large.
    if (!Contains(planes[kLuma], inLuma, luma)) [[unlikely]] {
        if (!MoveInside(planes[kLuma], inSource.isBottomField, inLuma, luma) ||
            !MoveInside(planes[kCb], inSource.isBottomField, ChromaOf(inLuma), chroma)) {
            return false;
        }
    }
    outReferences = {BlockAt(planes[kLuma], luma), BlockAt(planes[kCb], chroma),
                     BlockAt(planes[kCr], chroma)};
    return true;
}

// Whether a block as large as inArea that begins at inPoint reads nothing outside.
template <DecodeScale kScale>
bool MotionCompensation<kScale>::Contains(const Plane& inPlane, const Area& inArea,
                                          const HalfSamplePoint& inPoint) {
    const std::int32_t lastX = (inPlane.width - inArea.width) * 2;
    const std::int32_t lastY = (inPlane.height - inArea.height) * 2;
    return inPoint.x >= 0 && inPoint.x <= lastX && inPoint.y >= 0 && inPoint.y <= lastY;
}

// False if the block would begin before its plane. At the last position no half sample is left, so that
// nothing behind it is read.
template <DecodeScale kScale>
bool MotionCompensation<kScale>::MoveInside(const Plane& inPlane, bool inIsBottomField, const Area& inArea,
                                            HalfSamplePoint& ioPoint) {
    const std::ptrdiff_t firstLine = inIsBottomField ? inPlane.step / 2 : 0;
    if (firstLine + (ioPoint.y >> 1) * inPlane.step + (ioPoint.x >> 1) < 0) return false;
    ioPoint.x = std::clamp(ioPoint.x, 0, (inPlane.width - inArea.width) * 2);
    ioPoint.y = std::clamp(ioPoint.y, 0, (inPlane.height - inArea.height) * 2);
    return true;
}

template <DecodeScale kScale>
ReferenceBlock MotionCompensation<kScale>::BlockAt(const Plane& inPlane, const HalfSamplePoint& inPoint) {
    return {inPlane.samples + (inPoint.y >> 1) * inPlane.step + (inPoint.x >> 1), inPlane.step,
            static_cast<HalfSampleType>((inPoint.x & 1) * 8 + (inPoint.y & 1) * 4)};
}

template <DecodeScale kScale>
PixelBlock MotionCompensation<kScale>::PixelsAt(const Plane& inPlane, const Area& inArea) {
    return {inPlane.samples + inArea.y * inPlane.step + inArea.x, inPlane.step};
}

template <DecodeScale kScale>
auto MotionCompensation<kScale>::WholeLuma(const MacroblockPosition& inPosition) -> Area {
    constexpr std::int32_t kWidth = 2 * Traits::kBlockWidth;
    constexpr std::int32_t kHeight = 2 * Traits::kBlockHeight;
    return {inPosition.column * kWidth, inPosition.row * kHeight, kWidth, kHeight};
}

template <DecodeScale kScale>
auto MotionCompensation<kScale>::ChromaOf(const Area& inLuma) -> Area {
    return {inLuma.x / 2, inLuma.y / 2, inLuma.width / 2, inLuma.height / 2};
}

template <DecodeScale kScale>
auto MotionCompensation<kScale>::PlanesOf(const YV12Frame& inFrame) const -> FramePlanesByLines {
    if (!inFrame.HasPlanes()) return {};
    const PlanePitches pitches = PitchesAt(kScale, inFrame.pitch);
    const auto rows = static_cast<std::int32_t>(PlaneMacroblockRows(mPicture.parameters.sequence));
    const auto plane = [&](std::uint8_t* inSamples, std::ptrdiff_t inPitch, std::int32_t inBlocks) {
        return Plane{inSamples, inPitch, mPicture.MacroblockColumns() * inBlocks * Traits::kBlockWidth,
                     rows * inBlocks * Traits::kBlockHeight};
    };
    const auto fieldOf = [](Planes ioPlanes, bool inIsBottom) {
        for (Plane& field : ioPlanes) {
            if (inIsBottom) field.samples += field.step;
            field.step *= 2;
            field.height /= 2;
        }
        return ioPlanes;
    };
    const Planes frame{plane(inFrame.luma, pitches.luma, 2), plane(inFrame.cb, pitches.chroma, 1),
                       plane(inFrame.cr, pitches.chroma, 1)};
    return {frame, fieldOf(frame, false), fieldOf(frame, true)};  // in the order of Lines
}

template <DecodeScale kScale>
bool MotionCompensation<kScale>::HasPlanes(const Planes& inPlanes) {
    return inPlanes[kLuma].samples != nullptr;
}

template class MotionCompensation<DecodeScale::Full>;
template class MotionCompensation<DecodeScale::HalfWidth>;
template class MotionCompensation<DecodeScale::Quarter>;

}  // namespace Vexmora
