// A picture in the colours of a screen.
#pragma once

#include <cstdint>
#include <vector>

#include "VexmoraHost/Picture.h"
#include "pictures/VideoFormat.h"

namespace VexmoraCommand {

/// Rows from the top, without padding; three bytes a sample: red, green, blue.
struct RgbImage {
    static constexpr std::uint32_t kBytesPerSample = 3;

    RgbImage() = default;
    /// Black.
    RgbImage(std::uint32_t inWidth, std::uint32_t inHeight)
        : width(inWidth), height(inHeight), samples(std::size_t{inWidth} * inHeight * kBytesPerSample) {}

    std::size_t RowBytes() const { return std::size_t{width} * kBytesPerSample; }
    std::uint8_t* At(std::uint32_t inX, std::uint32_t inY) {
        return samples.data() + inY * RowBytes() + std::size_t{inX} * kBytesPerSample;
    }
    const std::uint8_t* Row(std::uint32_t inY) const { return samples.data() + inY * RowBytes(); }

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> samples;
};

/// How a picture is turned into what is seen.
struct Viewing {
    ColourMatrix matrix = ColourMatrix::Bt601;
    /// The lines are of two fields: each is converted by itself, as long as the height stays.
    bool isInterlaced = false;
    /// Of the image.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// Throws std::bad_alloc, and std::runtime_error when zimg cannot make an image of that size.
RgbImage ToRgb(const VexmoraHost::Picture& inPicture, const Viewing& inViewing);

/// Frames a rectangle of ioCanvas in red, inSize samples wide, inside it.
void FrameInRed(std::uint32_t inX, std::uint32_t inY, std::uint32_t inWidth, std::uint32_t inHeight,
                std::uint32_t inSize, RgbImage& ioCanvas);

/// Puts inImage, whole, onto ioCanvas.
void Paste(const RgbImage& inImage, std::uint32_t inX, std::uint32_t inY, RgbImage& ioCanvas);

}  // namespace VexmoraCommand
