// A decoded picture in 4:2:0, and what is known about its soundness.
#pragma once

#include <cstdint>
#include <memory>

#include "Vexmora/Status.h"

namespace VexmoraHost {

/// The size in which a picture is decoded: as coded, half as wide, or half as wide and half as high.
enum class Scale { Full, HalfWidth, Quarter };

/// The visible samples of one plane; rows are stride bytes apart. A view: the picture owns the samples.
struct Plane {
    const std::uint8_t* samples = nullptr;
    std::uint32_t width = 0;   // samples
    std::uint32_t height = 0;  // lines
    std::uint32_t stride = 0;  // bytes
};

/// What could not be decoded of a picture.
struct PictureDamage {
    /// What the library answered. Not Vexmora_Ok: the picture could not be decoded at all.
    Vexmora_Status status = Vexmora_Ok;
    /// Macroblocks of this picture that could not be decoded: all of them where status says so.
    std::uint32_t macroblocks = 0;
    /// Macroblocks that could not be decoded in the pictures that it is predicted from, directly or through
    /// others; a picture that is missing there counts whole. How many of its own samples they reach is not
    /// known; 0 says none.
    std::uint64_t inherited = 0;
    /// The picture stands in for another frame, which the stream does not hold.
    bool standsIn = false;

    /// Whether every sample is what the stream's maker encoded.
    bool None() const { return status == Vexmora_Ok && macroblocks == 0 && inherited == 0 && !standsIn; }
};

/// A decoded picture. Macroblocks that could not be decoded show the samples of the past reference, of the
/// future one if there is no past, or mid grey without both; those in which the library met the error are
/// red, unless the movie conceals errors.
struct Picture {
    Plane luma;
    /// Half as wide and half as high as luma, rounded up.
    Plane cb;
    Plane cr;
    Scale scale = Scale::Full;
    /// The frame number whose picture this is, counted from the first usable frame: another one than was
    /// asked for when it stands in.
    std::uint32_t frame = 0;
    /// Macroblocks that the picture has.
    std::uint32_t macroblocks = 0;
    PictureDamage damage;
};

/// Keeps the samples alive; they never change, and any thread may read them.
using SharedPicture = std::shared_ptr<const Picture>;

}  // namespace VexmoraHost
