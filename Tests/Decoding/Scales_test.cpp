// Reduced pictures beside full ones.
#include <gtest/gtest.h>

#include <algorithm>

#include "Decoding/DecodeChain.h"

namespace Vexmora::Test {
namespace {

std::filesystem::path Stream(const char* inName) {
    return std::filesystem::path(VEXMORA_STREAM_DIR) / inName;
}

/// Mean square difference of a reduced picture's planes from every second sample (and line) of the full ones.
double DifferenceFromFull(DecodeChain& ioFull, DecodeChain& ioReduced, const Scale& inScale,
                          std::int32_t inFrame) {
    const FileInfo& info = ioFull.Info();
    const std::vector<std::uint8_t> full = Visible(ioFull.Frame(inFrame).picture, info);
    const std::vector<std::uint8_t> reduced = Visible(ioReduced.Frame(inFrame).picture, info, inScale);
    double sum = 0;
    std::size_t at = 0;
    std::size_t plane = 0;
    for (const std::uint32_t divisor : {1u, 2u, 2u}) {
        const std::uint32_t width = info.width / divisor;
        const std::uint32_t height = info.height / divisor;
        for (std::uint32_t y = 0; y + inScale.heightDivisor <= height; y += inScale.heightDivisor) {
            for (std::uint32_t x = 0; x + inScale.widthDivisor <= width; x += inScale.widthDivisor) {
                const double d = static_cast<double>(full[plane + y * width + x]) - reduced.at(at++);
                sum += d * d;
            }
        }
        plane += std::size_t{width} * height;
    }
    EXPECT_EQ(at, reduced.size());
    return sum / static_cast<double>(at);
}

// What the low frequencies of a block do not hold is missing, so a reduced picture is a little softer. Blocks
// or predictions in wrong places differ by much more.
TEST(Scales, ReducedPicturesShowWhatFullOnesShow) {
    for (const char* name :
         {"ip-64x48.m2v", "b2-open-352x288.m2v", "bottom-720x480.m2v", "enc-top-352x288.m2v"}) {
        SCOPED_TRACE(name);
        DecodeChain full(Stream(name));
        for (const Scale& scale : {kHalfWidth, kQuarterSize}) {
            DecodeChain reduced(Stream(name), scale);
            double worst = 0;
            for (std::uint32_t frame = 0; frame < full.Info().frameCount; ++frame) {
                const auto number = static_cast<std::int32_t>(full.Header().firstFrame + frame);
                worst = std::max(worst, DifferenceFromFull(full, reduced, scale, number));
            }
            EXPECT_LT(worst, full.Info().width < 100 ? 300 : 130);
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
