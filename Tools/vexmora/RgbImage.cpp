// Conversion to screen colours, and scaling by libyuv.
#include "RgbImage.h"

#include <libyuv/scale.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace Vexmora {

namespace {

/// A picture, or one field of it.
struct Lines {
    std::uint32_t first;  // 1 for the bottom field
    std::uint32_t step;   // 2 for a field
};

std::uint32_t CountOf(std::uint32_t inHeight, const Lines& inLines) {
    return (inHeight - inLines.first + inLines.step - 1) / inLines.step;
}

const std::uint8_t* FirstRow(const VexmoraHost::Plane& inPlane, const Lines& inLines) {
    return inPlane.samples + std::size_t{inLines.first} * inPlane.stride;
}

/// One chroma plane, or a field of it, with as many samples as luma has.
class FullChroma {
  public:
    FullChroma(const VexmoraHost::Plane& inChroma, const Lines& inLines, std::uint32_t inWidth,
               std::uint32_t inHeight)
        : mWidth(inWidth), mSamples(std::size_t{inWidth} * inHeight) {
        const auto step = static_cast<int>(inChroma.stride * inLines.step);
        libyuv::ScalePlane(FirstRow(inChroma, inLines), step, static_cast<int>(inChroma.width),
                           static_cast<int>(CountOf(inChroma.height, inLines)), mSamples.data(),
                           static_cast<int>(inWidth), static_cast<int>(inWidth), static_cast<int>(inHeight),
                           libyuv::kFilterBilinear);
    }
    const std::uint8_t* Row(std::uint32_t inY) const { return mSamples.data() + std::size_t{inY} * mWidth; }

  private:
    const std::uint32_t mWidth;
    std::vector<std::uint8_t> mSamples;
};

/// What red, green and blue take of luma and chroma, of which 219 and 224 steps are the whole range (ISO/IEC
/// 13818-2, 6.3.6, matrix_coefficients). libyuv's own matrices keep too few bits for the blue of BT.709.
struct Weights {
    explicit Weights(ColourMatrix inMatrix) {
        const double kr = inMatrix == ColourMatrix::Bt709 ? 0.2126 : 0.299;
        const double kb = inMatrix == ColourMatrix::Bt709 ? 0.0722 : 0.114;
        const auto chroma = [](double in) { return static_cast<std::int32_t>(std::lround(in * kOne * 255 / 224)); };
        luma = static_cast<std::int32_t>(std::lround(kOne * 255.0 / 219));
        redOfCr = chroma(2 * (1 - kr));
        greenOfCb = chroma(-2 * kb * (1 - kb) / (1 - kr - kb));
        greenOfCr = chroma(-2 * kr * (1 - kr) / (1 - kr - kb));
        blueOfCb = chroma(2 * (1 - kb));
    }
    static constexpr std::int32_t kBits = 16;
    static constexpr std::int32_t kOne = 1 << kBits;

    std::int32_t luma;
    std::int32_t redOfCr;
    std::int32_t greenOfCb;
    std::int32_t greenOfCr;
    std::int32_t blueOfCb;
};

std::uint8_t ToByte(std::int32_t inScaled) {
    return static_cast<std::uint8_t>(std::clamp((inScaled + Weights::kOne / 2) >> Weights::kBits, 0, 255));
}

void ConvertRow(const std::uint8_t* inLuma, const std::uint8_t* inCb, const std::uint8_t* inCr,
                const Weights& inWeights, std::uint32_t inWidth, std::uint8_t* outRow) {
    for (std::uint32_t x = 0; x < inWidth; ++x, outRow += RgbImage::kBytesPerSample) {
        const std::int32_t luma = (inLuma[x] - 16) * inWeights.luma;
        const std::int32_t cb = inCb[x] - 128;
        const std::int32_t cr = inCr[x] - 128;
        outRow[0] = ToByte(luma + cb * inWeights.blueOfCb);
        outRow[1] = ToByte(luma + cb * inWeights.greenOfCb + cr * inWeights.greenOfCr);
        outRow[2] = ToByte(luma + cr * inWeights.redOfCr);
    }
}

void Convert(const VexmoraHost::Picture& inPicture, const Weights& inWeights, const Lines& inLines,
             RgbImage& ioImage) {
    const std::uint32_t height = CountOf(ioImage.height, inLines);
    const FullChroma cb(inPicture.cb, inLines, ioImage.width, height);
    const FullChroma cr(inPicture.cr, inLines, ioImage.width, height);
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint32_t line = inLines.first + y * inLines.step;
        ConvertRow(inPicture.luma.samples + std::size_t{line} * inPicture.luma.stride, cb.Row(y), cr.Row(y),
                   inWeights, ioImage.width, ioImage.At(0, line));
    }
}

}  // namespace

RgbImage ToRgb(const VexmoraHost::Picture& inPicture, ColourMatrix inMatrix, bool inIsInterlaced) {
    const Weights weights(inMatrix);
    RgbImage image(inPicture.luma.width, inPicture.luma.height);
    if (inIsInterlaced && inPicture.cb.height > 1) {
        Convert(inPicture, weights, {0, 2}, image);
        Convert(inPicture, weights, {1, 2}, image);
    } else {
        Convert(inPicture, weights, {0, 1}, image);
    }
    return image;
}

RgbImage Resized(RgbImage inImage, std::uint32_t inWidth, std::uint32_t inHeight) {
    if (inWidth == inImage.width && inHeight == inImage.height) return inImage;
    RgbImage resized(inWidth, inHeight);
    if (libyuv::ARGBScale(inImage.samples.data(), static_cast<int>(inImage.RowBytes()),
                          static_cast<int>(inImage.width), static_cast<int>(inImage.height),
                          resized.samples.data(), static_cast<int>(resized.RowBytes()),
                          static_cast<int>(inWidth), static_cast<int>(inHeight), libyuv::kFilterBox) != 0) {
        throw std::bad_alloc();
    }
    return resized;
}

void Paste(const RgbImage& inImage, std::uint32_t inX, std::uint32_t inY, RgbImage& ioCanvas) {
    for (std::uint32_t row = 0; row < inImage.height; ++row) {
        std::memcpy(ioCanvas.At(inX, inY + row), inImage.Row(row), inImage.RowBytes());
    }
}

}  // namespace Vexmora
