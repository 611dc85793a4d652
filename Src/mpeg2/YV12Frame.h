// A decoded picture in the host's memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Vexmora/PlaneLayout.h"
#include "mpeg2/Parameters.h"

namespace Vexmora {

/// Macroblock rows that every plane has room for (ISO/IEC 13818-2, 6.3.3): an interlaced sequence counts them
/// for each field.
constexpr std::uint32_t PlaneMacroblockRows(const SequenceHeader& inSequence) {
    if (inSequence.progressiveSequence != 0) return inSequence.mbHeight;
    return (inSequence.verticalSize + 31) / 32 * 2;
}

/// Three planes of 8-bit samples, 4:2:0. Owns nothing.
struct YV12Frame {
    YV12Frame(const SequenceHeader& inSequence, const FramePlanes& inPlanes)
        : width(inSequence.horizontalSize),
          height(inSequence.verticalSize),
          pitch(inSequence.lumaStride),
          luma(inPlanes.planes[0]),
          cb(inPlanes.planes[1]),
          cr(inPlanes.planes[2]) {}

    /// Whether all planes are there.
    bool HasPlanes() const { return luma != nullptr && cb != nullptr && cr != nullptr; }

    /// Of the full-size picture, in luma samples and lines.
    std::uint32_t width;
    std::uint32_t height;
    /// The luma pitch at full size, see PitchesAt.
    std::uint32_t pitch;
    std::uint8_t* luma;
    std::uint8_t* cb;
    std::uint8_t* cr;
};

}  // namespace Vexmora
