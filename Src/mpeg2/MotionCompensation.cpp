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

MotionVector ChromaVector(const MotionVector& inVector) {
    return {static_cast<std::int16_t>(inVector.x / 2), static_cast<std::int16_t>(inVector.y / 2)};
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
        Part part{.lines = lines, .halfRow = inPosition.row, .isHalf = true};
        if (inPrediction.type == MotionType::DualPrime) {
            part.Add(mForward, lines, inPrediction.vectors[0][kForward]);
            part.Add(mForward, OtherField(lines), inPrediction.dualPrimeVectors[field]);
        } else {
            AddFieldSources(inPrediction, field, part);
        }
        const DecodeStatus status = PredictPart(part, inPosition, outUnpredicted.parts[field]);
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
        Part part{
            .lines = mLines, .halfRow = inPosition.row * 2 + static_cast<std::int32_t>(half), .isHalf = true};
        AddFieldSources(inPrediction, half, part);
        const DecodeStatus status = PredictPart(part, inPosition, outUnpredicted.parts[half]);
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
    const Part part{.lines = mLines, .halfRow = inPosition.row * 2};
    const Planes& sources = mForward[static_cast<std::size_t>(mLines)];
    const Planes& targets = mOutput[static_cast<std::size_t>(mLines)];
    if (!HasPlanes(sources)) return DecodeStatus::Failed;
    for (const Component component : {kLuma, kCb, kCr}) {
        const Plane& source = sources[component];
        const Plane& target = targets[component];
        if (source.samples == target.samples) continue;  // a picture that stands in for its own reference
        const Area area = AreaOf(component, part, inPosition);
        const std::ptrdiff_t offset = area.y * source.step + area.x;
        const PrimitiveStatus status =
            mPicture.primitives.copyBlock(source.samples + offset, source.step, target.samples + offset,
                                          target.step, area.width, area.height);
        if (status != PrimitiveStatus::Ok) return DecodeStatus::Failed;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictWhole(const Part& inPart,
                                                      const MacroblockPosition& inPosition,
                                                      UnpredictedLines& outUnpredicted) const {
    const DecodeStatus status = PredictPart(inPart, inPosition, outUnpredicted.parts[0]);
    outUnpredicted.parts[1] = outUnpredicted.parts[0];
    return status;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictPart(const Part& inPart, const MacroblockPosition& inPosition,
                                                     bool& outIsUnpredicted) const {
    outIsUnpredicted = true;
    if (inPart.sourceCount == 0) return DecodeStatus::Ok;
    const Area lumaArea = AreaOf(kLuma, inPart, inPosition);
    const Area chromaArea = AreaOf(kCb, inPart, inPosition);
    std::array<Place, 2> luma;
    std::array<Place, 2> chroma;  // of both chroma planes, which are alike
    for (std::size_t i = 0; i < inPart.sourceCount; ++i) {
        const Source& source = inPart.sources[i];
        if (!HasPlanes(*source.planes)) return DecodeStatus::Failed;
        const MotionVector vector = ScaleVector<kScale>(source.vector);
        if (!Locate((*source.planes)[kLuma], source.isBottomField, lumaArea, vector, luma[i]) ||
            !Locate((*source.planes)[kCb], source.isBottomField, chromaArea, ChromaVector(vector),
                    chroma[i])) {
            return DecodeStatus::Ok;
        }
    }
    outIsUnpredicted = false;
    const bool isWritten =
        WriteBlock(kLuma, inPart, lumaArea, luma, inPart.isHalf ? Traits::kHalfLuma : Traits::kWholeLuma) &&
        WriteBlock(kCb, inPart, chromaArea, chroma,
                   inPart.isHalf ? Traits::kHalfChroma : Traits::kWholeChroma) &&
        WriteBlock(kCr, inPart, chromaArea, chroma,
                   inPart.isHalf ? Traits::kHalfChroma : Traits::kWholeChroma);
    return isWritten ? DecodeStatus::Ok : DecodeStatus::Failed;
}

// Finds what the block at inArea is predicted from. False if it would begin before its plane.
template <DecodeScale kScale>
bool MotionCompensation<kScale>::Locate(const Plane& inPlane, bool inIsBottomField, const Area& inArea,
                                        const MotionVector& inVector, Place& outPlace) {
    const std::ptrdiff_t firstLine = inIsBottomField ? inPlane.step / 2 : 0;
    const std::ptrdiff_t offset =
        firstLine + (inArea.y + (inVector.y >> 1)) * inPlane.step + inArea.x + (inVector.x >> 1);
    if (offset < 0) return false;

    // In half samples. At the last position no half sample is left, so that nothing behind it is read.
    const std::int32_t x = std::clamp(inArea.x * 2 + inVector.x, 0, (inPlane.width - inArea.width) * 2);
    const std::int32_t y = std::clamp(inArea.y * 2 + inVector.y, 0, (inPlane.height - inArea.height) * 2);
    outPlace = {(y >> 1) * inPlane.step + (x >> 1), static_cast<HalfSampleType>((x & 1) * 8 + (y & 1) * 4)};
    return true;
}

template <DecodeScale kScale>
bool MotionCompensation<kScale>::WriteBlock(Component inComponent, const Part& inPart, const Area& inArea,
                                            const std::array<Place, 2>& inPlaces, BlockSize inSize) const {
    const Plane& plane = mOutput[static_cast<std::size_t>(inPart.lines)][inComponent];
    const PixelBlock pixels{plane.samples + inArea.y * plane.step + inArea.x, plane.step};
    const auto reference = [&](std::size_t inSource) {
        const Plane& from = (*inPart.sources[inSource].planes)[inComponent];
        return ReferenceBlock{from.samples + inPlaces[inSource].offset, from.step, inPlaces[inSource].type};
    };
    const auto size = static_cast<std::size_t>(inSize);
    const PrimitiveStatus status =
        inPart.sourceCount == 1
            ? mPicture.primitives.predictBlock[size](reference(0), {}, pixels)
            : mPicture.primitives.predictBlockBidirectional[size](reference(0), reference(1), {}, pixels);
    return status == PrimitiveStatus::Ok;
}

template <DecodeScale kScale>
auto MotionCompensation<kScale>::AreaOf(Component inComponent, const Part& inPart,
                                        const MacroblockPosition& inPosition) -> Area {
    const std::int32_t blocks = inComponent == kLuma ? 2 : 1;
    const std::int32_t width = blocks * Traits::kBlockWidth;
    const std::int32_t halfHeight = blocks * Traits::kBlockHeight / 2;
    return {inPosition.column * width, inPart.halfRow * halfHeight, width,
            inPart.isHalf ? halfHeight : halfHeight * 2};
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
