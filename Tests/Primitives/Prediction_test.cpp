// Predictions, copies and fills by the definition (ISO/IEC 13818-2, 7.6.4 and 7.6.7.1): rows worked out by
// hand. The variants are held against the portable ones for every size elsewhere.
#include "primitives/Prediction.h"

#include <gtest/gtest.h>

#include <numeric>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

TEST(Prediction, RoundsUpAndAddsTheResidual) {
    constexpr std::uint8_t kFirst[3][5] = {{10, 11, 255, 0, 7}, {20, 22, 255, 1, 9}, {13, 0, 0, 0, 0}};
    constexpr std::uint8_t kSecond[2][4] = {{0, 12, 254, 3}, {21, 22, 0, 0}};
    constexpr std::int16_t kResidual[2][4] = {{0, -12, 1, 300}, {-32768, 5, 32767, -1}};
    const struct {
        HalfSampleType type;
        std::array<int, 8> single;
        std::array<int, 8> both;
        std::array<int, 8> sum;  // of the single one and the residual
    } kRows[] = {{HalfSampleType::Full,
                  {10, 11, 255, 0, 20, 22, 255, 1},
                  {5, 12, 255, 2, 21, 22, 128, 1},
                  {10, 0, 255, 255, 0, 27, 255, 0}},
                 {HalfSampleType::HalfHorizontal,
                  {11, 133, 128, 4, 21, 139, 128, 5},
                  {6, 73, 191, 4, 21, 81, 64, 3},
                  {11, 121, 129, 255, 0, 144, 255, 4}},
                 {HalfSampleType::HalfVertical,
                  {15, 17, 255, 1, 17, 11, 128, 1},
                  {8, 15, 255, 2, 19, 17, 64, 1},
                  {15, 5, 255, 255, 0, 16, 255, 0}},
                 {HalfSampleType::HalfBoth,
                  {16, 136, 128, 4, 14, 69, 64, 3},
                  {8, 74, 191, 4, 18, 46, 32, 2},
                  {16, 124, 129, 255, 0, 74, 255, 2}}};
    constexpr auto kSize = static_cast<std::size_t>(BlockSize::k4x2);
    const Predict predict = PortablePrimitives().predictBlock[kSize];
    for (const auto& row : kRows) {
        SCOPED_TRACE(static_cast<int>(row.type));
        const ReferenceBlock first{kFirst[0], 5, row.type};
        const ReferenceBlock second{kSecond[0], 4, HalfSampleType::Full};
        std::array<std::uint8_t, 8> pixels{};
        const auto expect = [&](PrimitiveStatus inStatus, const std::array<int, 8>& inExpected) {
            EXPECT_EQ(inStatus, PrimitiveStatus::Ok);
            EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), inExpected.begin()))
                << ::testing::PrintToString(pixels);
        };
        expect(predict(first, {}, {pixels.data(), 4}), row.single);
        expect(predict(first, {kResidual[0], 8}, {pixels.data(), 4}), row.sum);
        const auto both = PortablePrimitives().predictBlockBidirectional[kSize];
        expect(both(first, second, {}, {pixels.data(), 4}), row.both);
    }
}

TEST(Copy, AreasOfEverySizeAndTheirRefusals) {
    constexpr std::ptrdiff_t kStep = 40;
    Bytes source(kStep * 9);
    std::iota(source.begin(), source.end(), std::uint8_t{1});
    const PrimitiveTable& in = PortablePrimitives();
    for (std::int32_t width = 1; width <= 33; ++width) {
        const std::int32_t height = 1 + width % 9;
        Bytes copied(source.size()), filled(source.size()), bytes(source.size());
        EXPECT_EQ(in.copyBlock(source.data(), kStep, copied.data(), kStep, width, height),
                  PrimitiveStatus::Ok);
        EXPECT_EQ(in.fillBlock(77, filled.data(), kStep, width, height), PrimitiveStatus::Ok);
        EXPECT_EQ(in.copyBytes(source.data(), bytes.data(), width), PrimitiveStatus::Ok);
        for (std::ptrdiff_t i = 0; i < std::ssize(source); ++i) {
            const auto at = static_cast<std::size_t>(i);
            const bool isInside = i % kStep < width && i / kStep < height;
            ASSERT_EQ(copied[at], isInside ? source[at] : 0) << width;
            ASSERT_EQ(filled[at], isInside ? 77 : 0) << width;
            ASSERT_EQ(bytes[at], i < width ? source[at] : 0) << width;
        }
    }
    std::uint8_t* const to = source.data();
    EXPECT_EQ(in.copyBlock(to, 1, to, 1, 1, 0), PrimitiveStatus::SizeNotPositive);
    EXPECT_EQ(in.copyBlock(nullptr, 0, to, 1, 1, 1), PrimitiveStatus::NullPointer);
    EXPECT_EQ(in.fillBlock(77, to, 1, -1, 1), PrimitiveStatus::SizeNotPositive);
    EXPECT_EQ(in.copyBytes(to, to, 0), PrimitiveStatus::SizeNotPositive);
    EXPECT_EQ(in.copyBytes(to, nullptr, 1), PrimitiveStatus::NullPointer);
}

}  // namespace
}  // namespace Vexmora::Test
