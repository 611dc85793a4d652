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

Ratio DisplayAspect(const Vexmora::IndexHeader& inHeader) {
    switch (inHeader.aspectRatioCode) {
        case 1:
            return Reduced(inHeader.width, inHeader.height);
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

Ratio SampleAspect(const VexmoraHost::MovieInfo& inInfo, VexmoraHost::Scale inScale) {
    const std::uint64_t widening = inScale == VexmoraHost::Scale::HalfWidth ? 2 : 1;
    if (inInfo.index.aspectRatioCode == 1) return {widening, 1};
    const Ratio display = DisplayAspect(inInfo.index);
    const auto sizeOr = [](std::uint64_t inSize, std::uint64_t inCodedSize) {
        return inSize != 0 ? inSize : inCodedSize;
    };
    return Reduced(widening * display.numerator * sizeOr(inInfo.file.displayHeight, inInfo.file.height),
                   display.denominator * sizeOr(inInfo.file.displayWidth, inInfo.file.width));
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

ColourMatrix MatrixOf(const Vexmora::IndexHeader& inHeader) {
    constexpr unsigned kMatrixShift = 10;
    constexpr std::uint32_t kMatrixMask = 0x1F;  // table 6-9 uses no more; picture_structure lies above
    constexpr std::uint16_t kStandardDefinitionLines = 576;
    switch (inHeader.formatWord >> kMatrixShift & kMatrixMask) {
        case 1:  // BT.709
        case 7:  // SMPTE 240M, almost the same
            return ColourMatrix::Bt709;
        case 4:  // FCC, almost BT.601
        case 5:
        case 6:
            return ColourMatrix::Bt601;
        default:
            return inHeader.height > kStandardDefinitionLines ? ColourMatrix::Bt709 : ColourMatrix::Bt601;
    }
}

}  // namespace VexmoraCommand
