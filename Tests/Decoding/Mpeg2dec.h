// Decoding an elementary stream with mpeg2dec.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>

#include "Decoding/Ffmpeg.h"

namespace Vexmora::Test {

/// Frame after frame of planar 4:2:0, of the size that is coded: whole macroblocks. mpeg2dec writes each as a
/// grey picture, the chroma planes side by side below the luma plane.
/// @param inOptions of mpeg2dec: -c for its plain transform.
inline Samples RunMpeg2dec(const std::filesystem::path& inMedia, std::size_t inWidth, std::size_t inHeight,
                           const std::string& inOptions = {}) {
    const Samples images =
        OutputOf("mpeg2dec " + inOptions + " -o pgmpipe '" + inMedia.string() + "' 2>/dev/null");
    const std::string header =
        "P5\n" + std::to_string(inWidth) + ' ' + std::to_string(inHeight * 3 / 2) + "\n255\n";
    const std::size_t imageBytes = header.size() + inWidth * inHeight * 3 / 2;
    EXPECT_EQ(images.size() % imageBytes, 0u);
    Samples frames;
    for (std::size_t at = 0; at + imageBytes <= images.size(); at += imageBytes) {
        const std::uint8_t* const image = images.data() + at;
        EXPECT_TRUE(std::equal(header.begin(), header.end(), image));
        const std::uint8_t* const luma = image + header.size();
        const std::uint8_t* const chroma = luma + inWidth * inHeight;
        frames.insert(frames.end(), luma, chroma);
        for (const std::size_t plane : {0u, 1u}) {
            for (std::size_t line = 0; line < inHeight / 2; ++line) {
                const std::uint8_t* const row = chroma + (line * 2 + plane) * (inWidth / 2);
                frames.insert(frames.end(), row, row + inWidth / 2);
            }
        }
    }
    return frames;
}

}  // namespace Vexmora::Test
