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
      mPitches(PitchesAt(kScale, inPicture.output.pitch)),
      mPlaneRows(static_cast<std::int32_t>(PlaneMacroblockRows(inPicture.parameters.sequence))) {}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::Predict(const Prediction& inPrediction,
                                                 const MacroblockPosition& inPosition,
                                                 const MacroblockResidual& inResidual) const {
    if (mLines == Lines::Frame) return PredictFrameMacroblock(inPrediction, inPosition, inResidual);
    return PredictFieldMacroblock(inPrediction, inPosition, inResidual);
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictFrameMacroblock(const Prediction& inPrediction,
                                                                const MacroblockPosition& inPosition,
                                                                const MacroblockResidual& inResidual) const {
    if (inPrediction.type == MotionType::Whole) {
        Part part{.halfRow = inPosition.row * 2};
        for (const Direction direction : {kForward, kBackward}) {
            if (!inPrediction.directions[direction]) continue;
            const YV12Frame& frame = direction == kForward ? mPicture.forward : mPicture.backward;
            part.sources[part.sourceCount++] = {&frame, Lines::Frame, inPrediction.vectors[0][direction]};
        }
        return PredictPart(part, inPosition, inResidual);
    }
    for (const std::int32_t field : {0, 1}) {
        const auto vector = static_cast<std::size_t>(field);
        const Lines lines = FieldLines(field == 1);
        Part part{.lines = lines,
                  .halfRow = inPosition.row,
                  .isHalf = true,
                  .firstResidualLine = field,
                  .residualLineStep = 2};
        if (inPrediction.type == MotionType::DualPrime) {
            part.sources = {
                Source{&mPicture.forward, lines, inPrediction.vectors[0][kForward]},
                Source{&mPicture.forward, OtherField(lines), inPrediction.dualPrimeVectors[vector]}};
            part.sourceCount = 2;
        } else {
            AddFieldSources(inPrediction, vector, part);
        }
        const DecodeStatus status = PredictPart(part, inPosition, inResidual);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictFieldMacroblock(const Prediction& inPrediction,
                                                                const MacroblockPosition& inPosition,
                                                                const MacroblockResidual& inResidual) const {
    Part part{.lines = mLines, .halfRow = inPosition.row * 2};
    if (inPrediction.type == MotionType::DualPrime) {
        const Lines other = OtherField(mLines);
        part.sources = {Source{&mPicture.forward, mLines, inPrediction.vectors[0][kForward]},
                        Source{&ForwardField(other), other, inPrediction.dualPrimeVectors[0]}};
        part.sourceCount = 2;
        return PredictPart(part, inPosition, inResidual);
    }
    if (inPrediction.type == MotionType::Whole) {
        AddFieldSources(inPrediction, 0, part);
        return PredictPart(part, inPosition, inResidual);
    }
    part.isHalf = true;
    for (const std::int32_t half : {0, 1}) {
        part.halfRow = inPosition.row * 2 + half;
        part.firstResidualLine = half * Traits::kBlockHeight;
        part.sourceCount = 0;
        AddFieldSources(inPrediction, static_cast<std::size_t>(half), part);
        const DecodeStatus status = PredictPart(part, inPosition, inResidual);
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
        const YV12Frame& frame = direction == kForward ? ForwardField(field) : mPicture.backward;
        ioPart.sources[ioPart.sourceCount++] = {&frame, field, inPrediction.vectors[inVector][direction]};
    }
}

// The second field of a P frame is predicted from the first one, too, which is already in the output.
template <DecodeScale kScale>
const YV12Frame& MotionCompensation<kScale>::ForwardField(Lines inField) const {
    const bool isFirstFieldOfFrame = mPicture.parameters.secondField && mLines != Lines::Frame &&
                                     inField != mLines &&
                                     mPicture.parameters.picture.pictureCodingType == kPictureTypeP;
    return isFirstFieldOfFrame ? mPicture.output : mPicture.forward;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::CopySkipped(const MacroblockPosition& inPosition) const {
    if (!mPicture.forward.HasPlanes()) return DecodeStatus::Failed;
    for (const Component component : {kLuma, kCb, kCr}) {
        const Plane source = PlaneOf(mPicture.forward, mLines, component);
        const Plane target = PlaneOf(mPicture.output, mLines, component);
        if (source.samples == target.samples) continue;  // a picture that stands in for its own reference
        const std::int32_t blocks = component == kLuma ? 2 : 1;
        const std::int32_t width = blocks * Traits::kBlockWidth;
        const std::int32_t height = blocks * Traits::kBlockHeight;
        const std::ptrdiff_t offset = inPosition.row * height * source.step + inPosition.column * width;
        const PrimitiveStatus status = mPicture.primitives.copyBlock(
            source.samples + offset, source.step, target.samples + offset, target.step, width, height);
        if (status != PrimitiveStatus::Ok) return DecodeStatus::Failed;
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::PredictPart(const Part& inPart, const MacroblockPosition& inPosition,
                                                     const MacroblockResidual& inResidual) const {
    if (inPart.sourceCount == 0) return DecodeStatus::Ok;
    References references;
    for (std::size_t source = 0; source < inPart.sourceCount; ++source) {
        if (!inPart.sources[source].frame->HasPlanes()) return DecodeStatus::Failed;
        if (!Locate(inPart.sources[source], inPart, inPosition, references[source])) return DecodeStatus::Ok;
    }
    const std::array<const std::int16_t*, kComponents> residuals{inResidual.luma, inResidual.cb,
                                                                 inResidual.cr};
    for (const Component component : {kLuma, kCb, kCr}) {
        const DecodeStatus status =
            WriteBlock(component, inPart, inPosition, references, residuals[component]);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

// Finds the blocks that inSource predicts from. False if one of them would begin before its plane.
template <DecodeScale kScale>
bool MotionCompensation<kScale>::Locate(const Source& inSource, const Part& inPart,
                                        const MacroblockPosition& inPosition,
                                        std::array<ReferenceBlock, kComponents>& outBlocks) const {
    const MotionVector lumaVector = ScaleVector<kScale>(inSource.vector);
    for (const Component component : {kLuma, kCb, kCr}) {
        const MotionVector vector = component == kLuma ? lumaVector : ChromaVector(lumaVector);
        const Plane plane = PlaneOf(*inSource.frame, inSource.lines, component);
        const Area area = AreaOf(component, inPart, inPosition);
        const std::ptrdiff_t firstLine = inSource.lines == Lines::BottomField ? plane.step / 2 : 0;
        const std::ptrdiff_t offset =
            firstLine + (area.y + (vector.y >> 1)) * plane.step + area.x + (vector.x >> 1);
        if (offset < 0) return false;

        // In half samples. At the last position no half sample is left, so that nothing behind it is read.
        const std::int32_t x = std::clamp(area.x * 2 + vector.x, 0, (plane.width - area.width) * 2);
        const std::int32_t y = std::clamp(area.y * 2 + vector.y, 0, (plane.height - area.height) * 2);
        outBlocks[component] = {plane.samples + (y >> 1) * plane.step + (x >> 1), plane.step,
                                static_cast<HalfSampleType>((x & 1) * 8 + (y & 1) * 4)};
    }
    return true;
}

template <DecodeScale kScale>
DecodeStatus MotionCompensation<kScale>::WriteBlock(Component inComponent, const Part& inPart,
                                                    const MacroblockPosition& inPosition,
                                                    const References& inReferences,
                                                    const std::int16_t* inResidual) const {
    const Plane plane = PlaneOf(mPicture.output, inPart.lines, inComponent);
    const Area area = AreaOf(inComponent, inPart, inPosition);
    const PixelBlock pixels{plane.samples + area.y * plane.step + area.x, plane.step};
    ResidualBlock residual;
    if (inResidual != nullptr) {
        // Chroma has half the lines of luma; a field begins in line 1 of both.
        const std::int32_t line = inComponent == kLuma || inPart.residualLineStep != 1
                                      ? inPart.firstResidualLine
                                      : inPart.firstResidualLine / 2;
        residual.samples = inResidual + line * area.width;
        residual.stepBytes =
            area.width * inPart.residualLineStep * static_cast<std::ptrdiff_t>(sizeof *inResidual);
    }
    const BlockSize size = inComponent == kLuma
                               ? (inPart.isHalf ? Traits::kHalfLuma : Traits::kWholeLuma)
                               : (inPart.isHalf ? Traits::kHalfChroma : Traits::kWholeChroma);
    const auto index = static_cast<std::size_t>(size);
    const ReferenceBlock& first = inReferences[0][inComponent];
    const PrimitiveStatus status = inPart.sourceCount == 1
                                       ? mPicture.primitives.predictBlock[index](first, residual, pixels)
                                       : mPicture.primitives.predictBlockBidirectional[index](
                                             first, inReferences[1][inComponent], residual, pixels);
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
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
auto MotionCompensation<kScale>::PlaneOf(const YV12Frame& inFrame, Lines inLines, Component inComponent) const
    -> Plane {
    const std::array<std::uint8_t*, kComponents> planes{inFrame.luma, inFrame.cb, inFrame.cr};
    const std::int32_t blocks = inComponent == kLuma ? 2 : 1;
    Plane plane{planes[inComponent], inComponent == kLuma ? mPitches.luma : mPitches.chroma,
                mPicture.MacroblockColumns() * blocks * Traits::kBlockWidth,
                mPlaneRows * blocks * Traits::kBlockHeight};
    if (inLines == Lines::Frame) return plane;
    if (inLines == Lines::BottomField) plane.samples += plane.step;
    plane.step *= 2;
    plane.height /= 2;
    return plane;
}

template class MotionCompensation<DecodeScale::Full>;
template class MotionCompensation<DecodeScale::HalfWidth>;
template class MotionCompensation<DecodeScale::Quarter>;

}  // namespace Vexmora
