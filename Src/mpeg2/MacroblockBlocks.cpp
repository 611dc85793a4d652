// Block layer of macroblocks (ISO/IEC 13818-2, 7.2 to 7.5), and the colour of macroblocks in error.
#include "mpeg2/MacroblockBlocks.h"

#include <algorithm>

#include "mpeg2/QuantiserScale.h"
#include "mpeg2/Scan.h"

namespace Vexmora {
namespace {

// coded_block_pattern
constexpr std::uint32_t kPatternFirstLuma = 32;
constexpr std::uint32_t kPatternAllLuma = 60;
constexpr std::uint32_t kPatternCb = 2;
constexpr std::uint32_t kPatternCr = 1;

constexpr std::uint8_t kErrorLuma = 81;
constexpr std::uint8_t kErrorCb = 90;
constexpr std::uint8_t kErrorCr = 239;

// Null stands for 16 everywhere where that is allowed.
const std::uint16_t* WeightsOf(const QuantiserMatrices& inMatrices, MatrixSource inSource) {
    const QuantiserMatrix* const matrix = inMatrices.Find(inSource);
    return matrix != nullptr ? matrix->data() : nullptr;
}

}  // namespace

template <DecodeScale kScale>
MacroblockBlocks<kScale>::MacroblockBlocks(const PictureContext& inPicture, BitReader& ioReader)
    : mPicture(inPicture), mReader(ioReader) {
    const DecodingTableSet& tables = inPicture.tables;
    const DecodingParameters& parameters = inPicture.parameters;
    const QuantiserMatrices& matrices = parameters.matrices;
    const std::uint8_t* const scan =
        parameters.picture.alternateScan != 0 ? kAlternateScan.data() : kZigzagScan.data();

    mIntraLuma = {
        .dcSizeTable = &tables.dctDcSizeLuminance,
        .acTable =
            parameters.constants.intraTableB15 ? &tables.dctCoefficientAlternative : &tables.dctCoefficient,
        .scan = scan,
        .weights = WeightsOf(matrices, matrices.intraLuma),
        .dcShift = parameters.constants.dcShift,
    };
    mIntraChroma = mIntraLuma;
    mIntraChroma.dcSizeTable = &tables.dctDcSizeChrominance;
    mIntraChroma.weights = WeightsOf(matrices, matrices.intraChroma);
    mNonIntraLuma = {
        .firstTable = &tables.dctFirstCoefficient,
        .acTable = &tables.dctCoefficient,
        .scan = scan,
        .weights = WeightsOf(matrices, matrices.nonIntraLuma),
    };
    mNonIntraChroma = mNonIntraLuma;
    mNonIntraChroma.weights = WeightsOf(matrices, matrices.nonIntraChroma);
    ResetDcPredictors();
}

template <DecodeScale kScale>
void MacroblockBlocks<kScale>::SetQuantiserScaleCode(std::uint32_t inCode) {
    const std::int32_t scale = QuantiserScale(mPicture.parameters.picture.qScaleType != 0, inCode);
    mIntraLuma.quantiserScale = mIntraChroma.quantiserScale = scale;
    mNonIntraLuma.quantiserScale = mNonIntraChroma.quantiserScale = scale;
}

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::DecodeIntra(const MacroblockPosition& inPosition, bool inIsFieldDct) {
    const Target target = TargetAt(inPosition);
    for (std::size_t block = 0; block < kLumaBlocks; ++block) {
        const BlockPlace place = PlaceOf(block, inIsFieldDct);
        const DecodeStatus status = DecodeIntraBlock(
            mIntraLuma, mDcPredictors[0], target.luma.samples + place.line * target.luma.step + place.column,
            place.lineStep * target.luma.step);
        if (status != DecodeStatus::Ok) return status;
    }
    const DecodeStatus status =
        DecodeIntraBlock(mIntraChroma, mDcPredictors[1], target.cb.samples, target.cb.step);
    if (status != DecodeStatus::Ok) return status;
    return DecodeIntraBlock(mIntraChroma, mDcPredictors[2], target.cr.samples, target.cr.step);
}

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::DecodeResidual(std::uint32_t inPattern, bool inIsFieldDct,
                                                      MacroblockResidual& outResidual) {
    constexpr std::ptrdiff_t kChromaStepBytes = kBlockWidth * sizeof(std::int16_t);
    constexpr std::ptrdiff_t kLumaStepBytes = 2 * kChromaStepBytes;
    outResidual = {};
    if ((inPattern & kPatternAllLuma) != 0) {
        for (std::size_t block = 0; block < kLumaBlocks; ++block) {
            const BlockPlace place = PlaceOf(block, inIsFieldDct);
            if ((inPattern & (kPatternFirstLuma >> block)) == 0) {
                ClearBlock(mLumaResidual.data(), place);
                continue;
            }
            const DecodeStatus status = DecodeNonIntraBlock(
                mNonIntraLuma, mLumaResidual.data() + place.line * 2 * kBlockWidth + place.column,
                place.lineStep * kLumaStepBytes);
            if (status != DecodeStatus::Ok) return status;
        }
        outResidual.luma = mLumaResidual.data();
    }
    if ((inPattern & kPatternCb) != 0) {
        const DecodeStatus status =
            DecodeNonIntraBlock(mNonIntraChroma, mCbResidual.data(), kChromaStepBytes);
        if (status != DecodeStatus::Ok) return status;
        outResidual.cb = mCbResidual.data();
    }
    if ((inPattern & kPatternCr) != 0) {
        const DecodeStatus status =
            DecodeNonIntraBlock(mNonIntraChroma, mCrResidual.data(), kChromaStepBytes);
        if (status != DecodeStatus::Ok) return status;
        outResidual.cr = mCrResidual.data();
    }
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::PaintError(const MacroblockPosition& inPosition) const {
    const Target target = TargetAt(inPosition);
    const auto fill = [this](std::uint8_t inValue, const PixelBlock& outBlock, std::int32_t inBlocks) {
        return mPicture.primitives.fillBlock(inValue, outBlock.samples, outBlock.step, inBlocks * kBlockWidth,
                                             inBlocks * kBlockHeight) == PrimitiveStatus::Ok;
    };
    const bool isPainted =
        fill(kErrorLuma, target.luma, 2) && fill(kErrorCb, target.cb, 1) && fill(kErrorCr, target.cr, 1);
    return isPainted ? DecodeStatus::Ok : DecodeStatus::Failed;
}

template <DecodeScale kScale>
auto MacroblockBlocks<kScale>::TargetAt(const MacroblockPosition& inPosition) const -> Target {
    const YV12Frame& output = mPicture.output;
    const Lines lines = LinesOf(mPicture.parameters.picture);
    const auto at = [&](std::uint8_t* inPlane, std::ptrdiff_t inPitch, std::int32_t inBlocks) {
        const std::ptrdiff_t step = lines == Lines::Frame ? inPitch : 2 * inPitch;
        std::uint8_t* const firstLine = lines == Lines::BottomField ? inPlane + inPitch : inPlane;
        return PixelBlock{firstLine + inPosition.row * inBlocks * kBlockHeight * step +
                              inPosition.column * inBlocks * kBlockWidth,
                          step};
    };
    const PlanePitches pitches = PitchesAt(kScale, output.pitch);
    return {at(output.luma, pitches.luma, 2), at(output.cb, pitches.chroma, 1),
            at(output.cr, pitches.chroma, 1)};
}

template <DecodeScale kScale>
auto MacroblockBlocks<kScale>::PlaceOf(std::size_t inLumaBlock, bool inIsFieldDct) -> BlockPlace {
    const std::ptrdiff_t column = inLumaBlock % 2 * kBlockWidth;
    const bool isLower = inLumaBlock >= 2;
    if (inIsFieldDct) return {isLower ? 1 : 0, column, 2};
    return {isLower ? kBlockHeight : 0, column, 1};
}

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::DecodeIntraBlock(const IntraBlockCoding& inCoding,
                                                        std::int16_t& ioDcPredictor, std::uint8_t* outSamples,
                                                        std::ptrdiff_t inStep) {
    const PrimitiveTable& primitives = mPicture.primitives;
    BitPosition position = mReader.Position();
    if (primitives.decodeIntraBlock(position, inCoding, ioDcPredictor, mCoefficients) !=
        PrimitiveStatus::Ok) {
        return DecodeStatus::Failed;
    }
    mReader.Resume(position);
    const PrimitiveStatus status = (primitives.*Traits::kToPixels)(mCoefficients, outSamples, inStep);
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
}

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::DecodeNonIntraBlock(const NonIntraBlockCoding& inCoding,
                                                           std::int16_t* outSamples,
                                                           std::ptrdiff_t inStepBytes) {
    const PrimitiveTable& primitives = mPicture.primitives;
    BitPosition position = mReader.Position();
    if (primitives.decodeNonIntraBlock(position, inCoding, mCoefficients) != PrimitiveStatus::Ok) {
        return DecodeStatus::Failed;
    }
    mReader.Resume(position);
    const PrimitiveStatus status = (primitives.*Traits::kToResidual)(mCoefficients, outSamples, inStepBytes);
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
}

template <DecodeScale kScale>
void MacroblockBlocks<kScale>::ClearBlock(std::int16_t* outSamples, const BlockPlace& inPlace) {
    constexpr std::ptrdiff_t kLumaStep = 2 * kBlockWidth;
    std::int16_t* row = outSamples + inPlace.line * kLumaStep + inPlace.column;
    for (int y = 0; y < kBlockHeight; ++y, row += inPlace.lineStep * kLumaStep) {
        std::fill_n(row, kBlockWidth, std::int16_t{0});
    }
}

template class MacroblockBlocks<DecodeScale::Full>;
template class MacroblockBlocks<DecodeScale::HalfWidth>;
template class MacroblockBlocks<DecodeScale::Quarter>;

}  // namespace Vexmora
