// A picture in the colours of a screen.
#pragma once

#include <cstdint>
#include <vector>

#include "Geometry.h"
#include "VexmoraHost/Picture.h"

namespace Vexmora {

/// Rows from the top, without padding; four bytes a sample: blue, green, red, and one that means nothing.
struct RgbImage {
    static constexpr std::uint32_t kBytesPerSample = 4;

    RgbImage() = default;
    /// Black.
    RgbImage(std::uint32_t inWidth, std::uint32_t inHeight)
        : width(inWidth), height(inHeight), samples(std::size_t{inWidth} * inHeight * kBytesPerSample) {}

    std::uint32_t RowBytes() const { return width * kBytesPerSample; }
    std::uint8_t* At(std::uint32_t inX, std::uint32_t inY) {
        return samples.data() + std::size_t{inY} * RowBytes() + std::size_t{inX} * kBytesPerSample;
    }
    const std::uint8_t* Row(std::uint32_t inY) const { return samples.data() + std::size_t{inY} * RowBytes(); }

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> samples;
};

/// inPicture's samples one by one.
/// @param inIsInterlaced its lines are of two fields: chroma is then interpolated within each field.
RgbImage ToRgb(const VexmoraHost::Picture& inPicture, ColourMatrix inMatrix, bool inIsInterlaced);

/// inImage in another size.
RgbImage Resized(RgbImage inImage, std::uint32_t inWidth, std::uint32_t inHeight);

/// Puts inImage, whole, onto ioCanvas.
void Paste(const RgbImage& inImage, std::uint32_t inX, std::uint32_t inY, RgbImage& ioCanvas);

}  // namespace Vexmora
