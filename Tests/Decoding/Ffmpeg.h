// Decoding a file with ffmpeg, and measuring how far samples are from its.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace Vexmora::Test {

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

/// The output of ffmpeg with one of its inverse transforms: frame after frame of planar 4:2:0.
inline Samples RunFfmpeg(const std::filesystem::path& inMedia, const std::string& inTransform) {
    return OutputOf("ffmpeg -v error -nostdin -threads 1 -idct " + inTransform + " -i '" + inMedia.string() +
                    "' -map 0:v:0 -fps_mode passthrough -f rawvideo -pix_fmt yuv420p -");
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
