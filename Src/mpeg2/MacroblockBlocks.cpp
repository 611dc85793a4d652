// Block layer of macroblocks (ISO/IEC 13818-2, 7.2 to 7.5), and the colour of macroblocks in error.
#include "mpeg2/MacroblockBlocks.h"

#include <bit>
#include <cstring>

#include "Vexmora/PlaneLayout.h"

namespace Vexmora {

template <DecodeScale kScale>
MacroblockBlocks<kScale>::MacroblockBlocks(const PictureContext& inPicture,
                                           const QuantisationTables& inQuantisation, BitReader& ioReader)
    : mPicture(inPicture),
      mReader(ioReader),
      mFirstTarget(FirstTarget(inPicture)),
      mQuantisation(inQuantisation) {
    const DecodingTableSet& tables = inPicture.tables;
    const PictureConstants& constants = inPicture.parameters.constants;
    mIntra.dcSizeTables = {ViewOf(tables.dctDcSizeLuminance), ViewOf(tables.dctDcSizeChrominance)};
    mIntra.acTable =
        ViewOf(constants.intraTableB15 ? tables.dctCoefficientAlternative : tables.dctCoefficient);
    mIntra.dcShift = constants.dcShift;
    mNonIntra.firstTable = ViewOf(tables.dctFirstCoefficient);
    mNonIntra.acTable = ViewOf(tables.dctCoefficient);
    ResetDcPredictors();
}

template <DecodeScale kScale>
void MacroblockBlocks<kScale>::SetQuantiserScaleCode(std::uint32_t inCode) {
    const auto find = [&](BlockKind inKind) { return &mQuantisation.Find(inKind, inCode); };
    mIntra.positions = {find(BlockKind::IntraLuma), find(BlockKind::IntraChroma)};
    mNonIntra.positions = {find(BlockKind::NonIntraLuma), find(BlockKind::NonIntraChroma)};
}

// What was decoded before a failure is shown, too.
template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::DecodeIntra(const MacroblockPosition& inPosition, bool inIsFieldDct) {
    const PrimitiveTable& primitives = mPicture.primitives;
    std::size_t decoded = 0;
    PrimitiveStatus status =
        primitives.decodeIntraBlocks(mReader.Bits(), mIntra, mDcPredictors, mCoefficients, decoded);
    const Places places = PlacesIn(TargetAt(inPosition), inIsFieldDct);
    const TransformToPixels transform = primitives.*Traits::kToPixels;
    for (std::size_t block = 0; block < decoded; ++block) {
        const PrimitiveStatus written =
            transform(mCoefficients[block], places.samples[block], places.StepOf(block));
        if (written != PrimitiveStatus::Ok) status = written;
    }
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
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

template <DecodeScale kScale>
DecodeStatus MacroblockBlocks<kScale>::AddBlocks(std::uint32_t inPattern, const Target& inTarget,
                                                 bool inIsFieldDct) {
    const PrimitiveTable& primitives = mPicture.primitives;
    std::uint32_t decoded = 0;
    PrimitiveStatus status =
        primitives.decodeNonIntraBlocks(mReader.Bits(), mNonIntra, inPattern, mCoefficients, decoded);
    const Places places = PlacesIn(inTarget, inIsFieldDct);
    const TransformAddToPixels transform = primitives.*Traits::kAddToPixels;
    // From coded block to coded block, since a processor foresees their number better than which ones they
    // are.
    for (std::uint32_t rest = decoded; rest != 0; rest ^= std::bit_floor(rest)) {
        const std::size_t block = kBlocks - static_cast<std::size_t>(std::bit_width(rest));
        const PrimitiveStatus added =
            transform(mCoefficients[block], places.samples[block], places.StepOf(block));
        if (added != PrimitiveStatus::Ok) status = added;
    }
    return status == PrimitiveStatus::Ok ? DecodeStatus::Ok : DecodeStatus::Failed;
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
auto MacroblockBlocks<kScale>::PlacesIn(const Target& inTarget, bool inIsFieldDct) -> Places {
    const PixelBlock& luma = inTarget.luma;
    std::uint8_t* const lower = luma.samples + (inIsFieldDct ? 1 : kBlockHeight) * luma.step;
    return {{luma.samples, luma.samples + kBlockWidth, lower, lower + kBlockWidth, inTarget.cb.samples,
             inTarget.cr.samples},
            inIsFieldDct ? 2 * luma.step : luma.step,
            inTarget.cb.step};
}

template class MacroblockBlocks<DecodeScale::Full>;
template class MacroblockBlocks<DecodeScale::HalfWidth>;
template class MacroblockBlocks<DecodeScale::Quarter>;

}  // namespace Vexmora
