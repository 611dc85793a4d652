// Decoding a file with ffmpeg and with mpeg2dec, and measuring how far samples are from theirs.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Support/TestFiles.h"

namespace Vexmora::Test {

/// Frame after frame of planar 4:2:0.
using Samples = std::vector<std::uint8_t>;

/// What a command writes to its standard output; it must succeed.
inline Samples OutputOf(const std::string& inCommand) {
    Samples output;
    FILE* const pipe = popen(inCommand.c_str(), "r");
    if (pipe == nullptr) return output;
    std::array<std::uint8_t, 65536> piece;
    for (std::size_t got; (got = fread(piece.data(), 1, piece.size(), pipe)) != 0;) {
        output.insert(output.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got));
    }
    EXPECT_EQ(pclose(pipe), 0) << inCommand;
    return output;
}

/// A file and the inverse transform that ffmpeg decodes it with.
struct Decoding {
    std::filesystem::path media;
    std::string transform;
};

/// What ffmpeg decodes. Starting it takes longer than most of our streams.
inline std::vector<Samples> RunFfmpeg(const std::vector<Decoding>& inDecodings) {
    const TemporaryFolder folder;
    std::string inputs;
    std::string outputs;
    const auto file = [&](std::size_t inNumber) { return folder / std::to_string(inNumber); };
    for (std::size_t i = 0; i < inDecodings.size(); ++i) {
        inputs +=
            " -threads 1 -idct " + inDecodings[i].transform + " -i '" + inDecodings[i].media.string() + "'";
        outputs += " -map " + std::to_string(i) +
                   ":v:0 -fps_mode passthrough -f rawvideo -pix_fmt yuv420p '" + file(i).string() + "'";
    }
    OutputOf("ffmpeg -v error -nostdin" + inputs + outputs);
    std::vector<Samples> decoded;
    for (std::size_t i = 0; i < inDecodings.size(); ++i) decoded.push_back(ReadAll(file(i)));
    return decoded;
}

/// What mpeg2dec decodes of an elementary stream, of the size that is coded: whole macroblocks. It writes
/// each frame as a grey picture, the chroma planes side by side below the luma plane.
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

struct Difference {
    int largest = 0;
    double meanSquare = 0;
};

inline Difference Compare(const std::uint8_t* inOne, const std::uint8_t* inOther, std::size_t inCount) {
    Difference difference;
    for (std::size_t i = 0; i < inCount; ++i) {
        const int d = inOne[i] - inOther[i];
        difference.largest = std::max(difference.largest, std::abs(d));
        difference.meanSquare += d * d;
    }
    difference.meanSquare /= static_cast<double>(inCount);
    return difference;
}

}  // namespace Vexmora::Test
