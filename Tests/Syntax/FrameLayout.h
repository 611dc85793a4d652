// Where the samples of a frame lie, as an independent decoder writes it and in planes as the library takes
// them.
#pragma once

#include <vector>

#include "Decoding/DecodeChain.h"

namespace Vexmora::Test {

/// The planes of a frame without gaps and without padding, of whole macroblocks.
struct FrameLayout {
    std::size_t width = 0;
    std::size_t height = 0;

    static std::size_t Padded(std::size_t in) { return (in + 127) / 128 * 128; }
    std::size_t LumaPitch() const { return Padded(width); }
    std::size_t ChromaPitch() const { return Padded(LumaPitch() / 2); }
    std::size_t SampleCount() const { return width * height * 3 / 2; }
    Picture420 NewPicture() const {
        return {static_cast<std::uint32_t>(LumaPitch() * height),
                static_cast<std::uint32_t>(ChromaPitch() * height / 2)};
    }

    /// Calls inVisit with each row: its line in its plane, its bytes in ioPicture, its first sample, and its
    /// length.
    template <class Visit>
    void VisitRows(Picture420& ioPicture, std::size_t inFirstSample, const Visit& inVisit) const {
        std::size_t sample = inFirstSample;
        const auto plane = [&](std::vector<std::uint8_t>& ioPlane, std::size_t inPitch,
                               std::size_t inDivisor) {
            for (std::size_t line = 0; line < height / inDivisor; ++line) {
                inVisit(line, ioPlane.data() + line * inPitch, sample, width / inDivisor);
                sample += width / inDivisor;
            }
        };
        plane(ioPicture.luma, LumaPitch(), 1);
        plane(ioPicture.cb, ChromaPitch(), 2);
        plane(ioPicture.cr, ChromaPitch(), 2);
    }
};

}  // namespace Vexmora::Test
