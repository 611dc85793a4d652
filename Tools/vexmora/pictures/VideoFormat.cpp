// Shapes, rates and colours out of the index header.
#include "pictures/VideoFormat.h"

#include <cmath>
#include <numeric>

namespace VexmoraCommand {

namespace {

Ratio Reduced(std::uint64_t inNumerator, std::uint64_t inDenominator) {
    const std::uint64_t divisor = std::gcd(inNumerator, inDenominator);
    if (inNumerator == 0 || inDenominator == 0) return {};
    return {inNumerator / divisor, inDenominator / divisor};
}

}  // namespace

FieldOrder FieldOrderOf(const Vexmora::IndexHeader& inHeader) {
    switch (inHeader.formatWord & Vexmora::kFieldOrderMask) {
        case Vexmora::kFieldOrderProgressive:
            return FieldOrder::Progressive;
        case Vexmora::kFieldOrderTopFirst:
            return FieldOrder::TopFirst;
        case Vexmora::kFieldOrderBottomFirst:
            return FieldOrder::BottomFirst;
        default:
            return FieldOrder::Mixed;
    }
}

VexmoraHost::VideoFormat FormatOf(const VexmoraHost::MovieInfo& inInfo) {
    const auto sizeOr = [](std::uint32_t inSize, std::uint32_t inCodedSize) {
        return inSize != 0 ? inSize : inCodedSize;
    };
    const Ratio rate = FrameRate(inInfo);
    return {.width = inInfo.file.width,
            .height = inInfo.file.height,
            .displayWidth = sizeOr(inInfo.file.displayWidth, inInfo.file.width),
            .displayHeight = sizeOr(inInfo.file.displayHeight, inInfo.file.height),
            .aspectRatioCode = static_cast<std::uint8_t>(inInfo.index.aspectRatioCode),
            .frameRateNumerator = static_cast<std::uint32_t>(rate.numerator),
            .frameRateDenominator = static_cast<std::uint32_t>(rate.denominator),
            .isProgressive = FieldOrderOf(inInfo.index) == FieldOrder::Progressive};
}

Ratio DisplayAspect(const VexmoraHost::VideoFormat& inFormat) {
    switch (inFormat.aspectRatioCode) {
        case 1:
            return Reduced(inFormat.width, inFormat.height);
        case 2:
            return {4, 3};
        case 3:
            return {16, 9};
        case 4:
            return {221, 100};
        default:
            return {};
    }
}

Ratio SampleAspect(const VexmoraHost::VideoFormat& inFormat, VexmoraHost::Scale inScale) {
    const std::uint64_t widening = inScale == VexmoraHost::Scale::HalfWidth ? 2 : 1;
    if (inFormat.aspectRatioCode == 1) return {widening, 1};
    const Ratio display = DisplayAspect(inFormat);
    return Reduced(widening * display.numerator * inFormat.displayHeight,
                   display.denominator * inFormat.displayWidth);
}

Ratio FrameRate(const VexmoraHost::MovieInfo& inInfo) {
    constexpr std::uint64_t kMostDivisions = 32;  // frame_rate_extension_d + 1
    constexpr double kTolerance = 1e-6;
    const double rate = inInfo.file.framePeriod > 0 ? 1 / inInfo.file.framePeriod : 0;
    for (std::uint64_t division = 1; division <= kMostDivisions; ++division) {
        const std::uint64_t denominator = 1001 * division;
        const double numerator = rate * static_cast<double>(denominator);
        const double whole = std::round(numerator);
        if (whole >= 1 && std::abs(numerator - whole) < kTolerance * whole) {
            return Reduced(static_cast<std::uint64_t>(whole), denominator);
        }
    }
    return {};
}

Ratio FrameRate(const VexmoraHost::VideoFormat& inFormat) {
    return Reduced(inFormat.frameRateNumerator, inFormat.frameRateDenominator);
}

// The index has thousandths.
Ratio EffectiveRate(const VexmoraHost::MovieInfo& inInfo, const VexmoraHost::VideoFormat& inFormat) {
    const Ratio nominal = FrameRate(inFormat);
    if (nominal.IsKnown() && nominal != FrameRate(inInfo)) return nominal;
    const double rate = inInfo.file.effectiveFrameRate / 1000.0;
    const auto isNear = [=](double inRate) { return std::abs(inRate - rate) < 0.002; };
    if (rate <= 0 || (nominal.IsKnown() && isNear(nominal.Value()))) return nominal;
    const auto whole = static_cast<std::uint64_t>(std::lround(rate));
    if (isNear(static_cast<double>(whole))) return {whole, 1};
    const auto ntsc = static_cast<std::uint64_t>(std::ceil(rate));
    if (isNear(static_cast<double>(ntsc) * 1000 / 1001)) return Reduced(ntsc * 1000, 1001);
    return Reduced(inInfo.file.effectiveFrameRate, 1000);
}

std::uint32_t ViewingWidth(std::uint32_t inWidth, const Ratio& inSampleAspect) {
    constexpr double kMostStretch = 8;
    if (!inSampleAspect.IsKnown()) return inWidth;
    const double stretch = inSampleAspect.Value();
    if (stretch > kMostStretch || stretch * kMostStretch < 1) return inWidth;
    return std::max(1U, static_cast<std::uint32_t>(std::lround(inWidth * stretch)));
}

bool IsInterlaced(const VexmoraHost::Movie& inMovie, const VexmoraHost::Picture& inPicture) {
    const Vexmora::FrameRecord& record = inMovie.Records().at(inMovie.Info().firstFrame + inPicture.frame);
    return inPicture.scale != VexmoraHost::Scale::Quarter &&
           (record.flags & Vexmora::kProgressiveFrameBit) == 0;
}

ColourMatrix MatrixOf(const Vexmora::IndexHeader& inHeader, std::uint32_t inHeight) {
    constexpr unsigned kMatrixShift = 10;
    constexpr std::uint32_t kMatrixMask = 0x1F;  // table 6-9 uses no more; picture_structure lies above
    constexpr std::uint32_t kStandardDefinitionLines = 576;
    switch (inHeader.formatWord >> kMatrixShift & kMatrixMask) {
        case 1:  // BT.709
        case 7:  // SMPTE 240M, almost the same
            return ColourMatrix::Bt709;
        case 4:  // FCC, almost BT.601
        case 5:
        case 6:
            return ColourMatrix::Bt601;
        default:
            return inHeight > kStandardDefinitionLines ? ColourMatrix::Bt709 : ColourMatrix::Bt601;
    }
}

}  // namespace VexmoraCommand
