// Macroblocks that a decode left alone or painted red are counted and concealed, others are not touched.
#include "frames/DamageDetection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace VexmoraHost {
namespace {

using Vexmora::FramePlanes;

// What a decode did to each macroblock of 4 x 3 visible ones and a row that is only coded.
struct DamageCase {
    const char* name;
    // w written, . left alone, t and b only the lines of that field written, R painted red
    std::vector<std::string> rows;
    std::uint32_t failures;
};
const DamageCase kDamageCases[] = {
    {"all written", {"wwww", "wwww", "wwww", "wwww"}, 0},
    {"nothing written", {"....", "....", "....", "...."}, 12},
    {"the row beyond the picture is not coded", {"wwww", "wwww", "wwww", "...."}, 0},
    {"lost slices", {"wwww", "....", "ww.w", "wwww"}, 5},
    {"fields that were not predicted", {"wtww", "wwww", "wwwb", "wwww"}, 2},
    {"slices that failed", {"wR..", "R...", "www.", "wwww"}, 8},
    {"the last slice of a picture without later ones", {"wwwR", "....", "....", "...."}, 9},
    {"a slice that failed at its end", {"wwwR", "wwww", "wwww", "wwww"}, 1},
    {"a red that the reference has", {"wwww", "wwwR", "wwww", "wwww"}, 0},
    {"and at the end of the picture", {"wwww", "wwww", "wwwR", "...."}, 1},
    {"a red picture", {"RRRR", "RRRR", "RRRR", "RRRR"}, 0},
    {"red areas", {"wRww", "wwRR", "RRwR", "wwww"}, 0},
    {"a slice that failed in a red area", {"RRRR", "RRR.", "RRRR", "RRRR"}, 2},
};

// The planes of a picture in memory of its own.
struct Planes {
    explicit Planes(const PictureLayout& inLayout)
        : bytes(inLayout.bytes), planes(PlanesIn(bytes.data(), inLayout)) {}
    std::vector<std::uint8_t> bytes;
    FramePlanes planes;
};

class DamageDetection : public testing::TestWithParam<Scale> {
  protected:
    // Calls inFunction(plane, samples of a line, their count, the line) for all lines of a macroblock.
    template <typename Function>
    void ForEachLine(const FramePlanes& inPlanes, std::size_t inRow, std::size_t inColumn,
                     const Function& inFunction) const {
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const std::size_t divisor = plane == 0 ? 1 : 2;
            const std::size_t width = mLayout.macroblockWidth / divisor;
            const std::size_t height = mLayout.macroblockHeight / divisor;
            const std::size_t stride = plane == 0 ? mLayout.pitches.luma : mLayout.pitches.chroma;
            for (std::size_t line = 0; line < height; ++line) {
                inFunction(plane,
                           inPlanes.planes[plane] + (inRow * height + line) * stride + inColumn * width,
                           width, line);
            }
        }
    }

    void Decode(char inWhat, const FramePlanes& ioPlanes, std::size_t inRow, std::size_t inColumn) {
        constexpr std::uint8_t kRed[] = {81, 90, 239};
        ForEachLine(
            ioPlanes, inRow, inColumn,
            [&](std::size_t inPlane, std::uint8_t* outSamples, std::size_t inCount, std::size_t inLine) {
                if (inWhat == '.' || inWhat == (inLine % 2 == 0 ? 'b' : 't')) return;
                for (std::size_t i = 0; i < inCount; ++i) {
                    outSamples[i] = inWhat == 'R' ? kRed[inPlane] : static_cast<std::uint8_t>(mRandom());
                }
            });
    }

    // Whether the macroblock is that of inExpected, or grey throughout without one.
    bool Shows(const FramePlanes& inPlanes, const FramePlanes* inExpected, std::size_t inRow,
               std::size_t inColumn) const {
        bool same = true;
        ForEachLine(
            inPlanes, inRow, inColumn,
            [&](std::size_t inPlane, const std::uint8_t* inSamples, std::size_t inCount, std::size_t) {
                const auto offset = inSamples - inPlanes.planes[inPlane];
                const std::vector<std::uint8_t> grey(inCount, 128);
                const std::uint8_t* const expected =
                    inExpected != nullptr ? inExpected->planes[inPlane] + offset : grey.data();
                same = same && std::memcmp(inSamples, expected, inCount) == 0;
            });
        return same;
    }

    static PictureLayout MakeLayout() {
        Vexmora::FileInfo info{};
        info.width = 60;
        info.height = 47;
        info.pitch = 128;
        return LayoutOf(info, {}, GetParam());
    }

    const PictureLayout mLayout = MakeLayout();
    std::minstd_rand mRandom;
};

TEST_P(DamageDetection, FailuresAreCountedAndConcealed) {
    ASSERT_EQ(mLayout.Macroblocks(), 12u);
    ASSERT_EQ(mLayout.codedRows, 4u);
    Planes reference(mLayout);
    std::generate(reference.bytes.begin(), reference.bytes.end(),
                  [this] { return static_cast<std::uint8_t>(mRandom()); });
    Decode('R', reference.planes, 1, 3);
    for (const DamageCase& testCase : kDamageCases) {
        for (const bool hasReference : {true, false}) {
            SCOPED_TRACE(testCase.name);
            Planes picture(mLayout);
            MarkMacroblocks(mLayout, picture.planes);
            for (std::size_t row = 0; row < 4; ++row) {
                for (std::size_t column = 0; column < 4; ++column) {
                    Decode(testCase.rows[row][column], picture.planes, row, column);
                }
            }
            Planes decoded(mLayout);
            decoded.bytes = picture.bytes;
            const FramePlanes concealment = hasReference ? reference.planes : FramePlanes{};
            EXPECT_EQ(ConcealFailures(mLayout, concealment, {reference.planes, {}}, picture.planes),
                      testCase.failures);
            for (std::size_t row = 0; row < 4; ++row) {
                for (std::size_t column = 0; column < 4; ++column) {
                    const char what = testCase.rows[row][column];
                    const FramePlanes* const expected = what == 'w' || what == 'R' ? &decoded.planes
                                                        : hasReference             ? &reference.planes
                                                                                   : nullptr;
                    EXPECT_TRUE(Shows(picture.planes, expected, row, column)) << row << " " << column;
                }
            }
        }
    }
}

TEST_P(DamageDetection, ClippedPatternsAreNoMarks) {
    for (const int period : {1, 2, 4}) {
        Planes picture(mLayout);
        for (std::size_t i = 0; i < picture.bytes.size(); ++i) {
            picture.bytes[i] = static_cast<int>(i) / period % 2 == 0 ? 0 : 255;
        }
        EXPECT_EQ(ConcealFailures(mLayout, {}, {}, picture.planes), 0u) << period;
    }
}

INSTANTIATE_TEST_SUITE_P(Scales, DamageDetection,
                         testing::Values(Scale::Full, Scale::HalfWidth, Scale::Quarter));

}  // namespace
}  // namespace VexmoraHost
