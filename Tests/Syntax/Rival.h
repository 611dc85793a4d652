// Every frame of a stream as an independent decoder shows it, in planes as the library takes them.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "Decoding/DecodeChain.h"
#include "Decoding/Ffmpeg.h"

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

/// The frames of mpeg2dec as planar 4:2:0. It writes each as a grey picture, the chroma planes side by side
/// below the luma plane.
inline Samples RunMpeg2dec(const std::filesystem::path& inMedia, const FrameLayout& inLayout) {
    const Samples output = OutputOf("mpeg2dec -c -o pgmpipe '" + inMedia.string() + "' 2>/dev/null");
    const std::string header =
        "P5\n" + std::to_string(inLayout.width) + ' ' + std::to_string(inLayout.height * 3 / 2) + "\n255\n";
    const std::size_t lumaCount = inLayout.width * inLayout.height;
    Samples frames;
    for (std::size_t at = 0; at + header.size() + inLayout.SampleCount() <= output.size();) {
        const auto frame = output.begin() + static_cast<std::ptrdiff_t>(at + header.size());
        EXPECT_TRUE(
            std::equal(header.begin(), header.end(), frame - static_cast<std::ptrdiff_t>(header.size())));
        const auto chroma = frame + static_cast<std::ptrdiff_t>(lumaCount);
        const auto width = static_cast<std::ptrdiff_t>(inLayout.width / 2);
        frames.insert(frames.end(), frame, chroma);
        for (const std::ptrdiff_t plane : {0, 1}) {
            for (std::ptrdiff_t line = 0; line < static_cast<std::ptrdiff_t>(inLayout.height / 2); ++line) {
                const auto row = chroma + (line * 2 + plane) * width;
                frames.insert(frames.end(), row, row + width);
            }
        }
        at += header.size() + inLayout.SampleCount();
    }
    return frames;
}

}  // namespace Vexmora::Test
