// Block layer of macroblocks (ISO/IEC 13818-2, 7.2 to 7.5), and the colour of macroblocks in error.
#include "mpeg2/MacroblockBlocks.h"

#include <bit>
#include <cstring>

#include "mpeg2/QuantiserScale.h"
#include "mpeg2/Scan.h"

namespace Vexmora {
namespace {

// coded_block_pattern has a bit for each block, the first block's uppermost.
constexpr std::size_t kBlocks = 6;
constexpr std::uint32_t kTopBit = 0x80000000;
constexpr unsigned kBitsAbovePattern = 32 - kBlocks;

constexpr std::uint8_t kErrorLuma = 81;
constexpr std::uint8_t kErrorCb = 90;
constexpr std::uint8_t kErrorCr = 239;

}  // namespace

template <DecodeScale kScale>
MacroblockBlocks<kScale>::MacroblockBlocks(const PictureContext& inPicture, BitReader& ioReader)
    : mPicture(inPicture), mReader(ioReader), mFirstTarget(FirstTarget(inPicture)) {
    const DecodingTableSet& tables = inPicture.tables;
    const DecodingParameters& parameters = inPicture.parameters;
    const QuantiserMatrices& matrices = parameters.matrices;
    const bool isAlternate = parameters.picture.alternateScan != 0;
    const std::uint8_t* const scan = (isAlternate ? kAlternateScanByColumns : kZigzagScanByColumns).data();

    mIntraLuma = {
        .dcSizeTable = ViewOf(tables.dctDcSizeLuminance),
        .acTable = ViewOf(parameters.constants.intraTableB15 ? tables.dctCoefficientAlternative
                                                             : tables.dctCoefficient),
        .scan = scan,
        .weights = Weights(matrices.intraLuma, mWeights[0]),
        .dcShift = parameters.constants.dcShift,
    };
    mIntraChroma = mIntraLuma;
    mIntraChroma.dcSizeTable = ViewOf(tables.dctDcSizeChrominance);
    mIntraChroma.weights = Weights(matrices.intraChroma, mWeights[1]);
    mNonIntraLuma = {
        .firstTable = ViewOf(tables.dctFirstCoefficient),
        .acTable = ViewOf(tables.dctCoefficient),
        .scan = scan,
        .weights = Weights(matrices.nonIntraLuma, mWeights[2]),
    };
    mNonIntraChroma = mNonIntraLuma;
    mNonIntraChroma.weights = Weights(matrices.nonIntraChroma, mWeights[3]);
    ResetDcPredictors();
}

// Null stands for 16 everywhere where that is allowed.
template <DecodeScale kScale>
const std::uint16_t* MacroblockBlocks<kScale>::Weights(
    MatrixSource inSource, std::array<std::uint16_t, 64>& outInCodingOrder) const {
    const QuantiserMatrix* const matrix = mPicture.parameters.matrices.Find(inSource);
    if (matrix == nullptr) return nullptr;
    const bool isAlternate = mPicture.parameters.picture.alternateScan != 0;
    const ScanOrder& scan = isAlternate ? kAlternateScan : kZigzagScan;
    for (std::size_t i = 0; i < 64; ++i) outInCodingOrder[i] = (*matrix)[scan[i]];
    return outInCodingOrder.data();
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
DecodeStatus MacroblockBlocks<kScale>::AddResidual(std::uint32_t inPattern,
                                                   const MacroblockPosition& inPosition, bool inIsFieldDct,
                                                   const UnpredictedLines& inUnpredicted) {
    if (inPattern == 0) return DecodeStatus::Ok;
    const Target target = TargetAt(inPosition);
    if (!inUnpredicted.Any()) [[likely]]
        return AddBlocks(inPattern, target, inIsFieldDct);

    constexpr std::size_t kWidth = 2 * kBlockWidth;
    constexpr std::size_t kHeight = 2 * kBlockHeight;
    const std::array<PixelBlock, 3> planes{target.luma, target.cb, target.cr};
    std::uint8_t kept[3][kHeight][kWidth];
    const auto forEachLine = [&](auto inWork) {
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const std::size_t width = plane == 0 ? kWidth : kWidth / 2;
            const std::size_t height = plane == 0 ? kHeight : kHeight / 2;
            for (std::size_t line = 0; line < height; ++line) {
                std::uint8_t* const samples =
                    planes[plane].samples + static_cast<std::ptrdiff_t>(line) * planes[plane].step;
                if (inUnpredicted.Holds(line, height)) inWork(samples, kept[plane][line], width);
            }
        }
    };
    forEachLine([](const std::uint8_t* in, std::uint8_t* out, std::size_t inCount) {
        std::memcpy(out, in, inCount);
    });
    const DecodeStatus status = AddBlocks(inPattern, target, inIsFieldDct);
    forEachLine([](std::uint8_t* out, const std::uint8_t* in, std::size_t inCount) {
        std::memcpy(out, in, inCount);
    });
    return status;
}

// From coded block to coded block, since a processor foresees their number better than which ones they are.
template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::AddBlocks(std::uint32_t inPattern, const Target& inTarget,
                                                 bool inIsFieldDct) {
    const std::ptrdiff_t lumaStep = inIsFieldDct ? 2 * inTarget.luma.step : inTarget.luma.step;
    std::uint8_t* const lower =
        inTarget.luma.samples + (inIsFieldDct ? 1 : kBlockHeight) * inTarget.luma.step;
    const std::array<std::uint8_t*, kBlocks> samples{inTarget.luma.samples,
                                                     inTarget.luma.samples + kBlockWidth,
                                                     lower,
                                                     lower + kBlockWidth,
                                                     inTarget.cb.samples,
                                                     inTarget.cr.samples};
    for (std::uint32_t rest = inPattern << kBitsAbovePattern; rest != 0;) {
        const auto block = static_cast<std::size_t>(std::countl_zero(rest));
        rest &= ~(kTopBit >> block);
        const bool isLuma = block < kLumaBlocks;
        const DecodeStatus status = AddNonIntraBlock(isLuma ? mNonIntraLuma : mNonIntraChroma, samples[block],
                                                     isLuma ? lumaStep : inTarget.cb.step);
        if (status != DecodeStatus::Ok) return status;
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
auto MacroblockBlocks<kScale>::FirstTarget(const PictureContext& inPicture) -> Target {
    const YV12Frame& output = inPicture.output;
    const Lines lines = LinesOf(inPicture.parameters.picture);
    const auto linesOf = [lines](std::uint8_t* inPlane, std::ptrdiff_t inPitch) {
        return PixelBlock{lines == Lines::BottomField ? inPlane + inPitch : inPlane,
                          lines == Lines::Frame ? inPitch : 2 * inPitch};
    };
    const PlanePitches pitches = PitchesAt(kScale, output.pitch);
    return {linesOf(output.luma, pitches.luma), linesOf(output.cb, pitches.chroma),
            linesOf(output.cr, pitches.chroma)};
}

template <DecodeScale kScale>
auto MacroblockBlocks<kScale>::TargetAt(const MacroblockPosition& inPosition) const -> Target {
    Target target = mFirstTarget;
    const std::ptrdiff_t line = inPosition.row * kBlockHeight;  // of chroma
    const std::ptrdiff_t column = inPosition.column * kBlockWidth;
    target.luma.samples += 2 * (line * target.luma.step + column);
    target.cb.samples += line * target.cb.step + column;
    target.cr.samples += line * target.cr.step + column;
    return target;
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
    if (primitives.decodeIntraBlock(mReader.Bits(), inCoding, ioDcPredictor, mCoefficients) !=
        PrimitiveStatus::Ok) {
        return DecodeStatus::Failed;
    }
    const PrimitiveStatus status = (primitives.*Traits::kToPixels)(mCoefficients, outSamples, inStep);
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
}

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::AddNonIntraBlock(const NonIntraBlockCoding& inCoding,
                                                        std::uint8_t* ioSamples, std::ptrdiff_t inStep) {
    const PrimitiveTable& primitives = mPicture.primitives;
    if (primitives.decodeNonIntraBlock(mReader.Bits(), inCoding, mCoefficients) != PrimitiveStatus::Ok) {
        return DecodeStatus::Failed;
    }
    const PrimitiveStatus status = (primitives.*Traits::kAddToPixels)(mCoefficients, ioSamples, inStep);
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
}

template class MacroblockBlocks<DecodeScale::Full>;
template class MacroblockBlocks<DecodeScale::HalfWidth>;
template class MacroblockBlocks<DecodeScale::Quarter>;

}  // namespace Vexmora
