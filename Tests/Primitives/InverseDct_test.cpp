// Accuracy and equality of the inverse transforms.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

using Matrix = std::array<std::array<double, 8>, 8>;

/// Row u holds the u-th basis function of the orthonormal transform.
const Matrix& Basis() {
    static const Matrix basis = [] {
        Matrix made;
        for (std::size_t u = 0; u < 8; ++u) {
            for (std::size_t x = 0; x < 8; ++x) {
                made[u][x] = (u == 0 ? std::sqrt(0.125) : 0.5) *
                             std::cos((2.0 * static_cast<double>(x) + 1.0) * static_cast<double>(u) *
                                      std::numbers::pi / 16.0);
            }
        }
        return made;
    }();
    return basis;
}

enum class Direction { Forward, Inverse };

Matrix Transform(const Matrix& inValues, Direction inDirection) {
    const auto weight = [inDirection](std::size_t inOut, std::size_t inIn) {
        return inDirection == Direction::Forward ? Basis()[inOut][inIn] : Basis()[inIn][inOut];
    };
    Matrix half{}, whole{};
    for (std::size_t i = 0; i < 8; ++i) {
        for (std::size_t j = 0; j < 8; ++j) {
            for (std::size_t k = 0; k < 8; ++k) half[i][j] += weight(j, k) * inValues[i][k];
        }
    }
    for (std::size_t i = 0; i < 8; ++i) {
        for (std::size_t j = 0; j < 8; ++j) {
            for (std::size_t k = 0; k < 8; ++k) whole[i][j] += weight(i, k) * half[k][j];
        }
    }
    return whole;
}

CoefficientBlock ToCoefficients(const Matrix& inValues) {
    CoefficientBlock block{};
    for (std::size_t p = 0; p < 64; ++p) {
        const double rounded = std::clamp(std::floor(inValues[p % 8][p / 8] + 0.5), -2048.0, 2047.0);
        block.values[p] = static_cast<std::int16_t>(rounded);
        if (block.values[p] != 0) block.reach |= static_cast<std::uint32_t>(p);
    }
    return block;
}

Matrix ExactInverse(const CoefficientBlock& inBlock) {
    Matrix coefficients;
    for (std::size_t p = 0; p < 64; ++p) coefficients[p % 8][p / 8] = inBlock.values[p];
    return Transform(coefficients, Direction::Inverse);
}

/// The generator that IEEE Std 1180-1990 prescribes.
class Generator {
  public:
    double Next(int inLowest, int inHighest) {
        mState = mState * 1103515245 + 12345;
        const double fraction = static_cast<double>(mState & 0x7FFFFFFE) / static_cast<double>(0x7FFFFFFF);
        return std::floor(fraction * (inHighest - inLowest + 1)) + inLowest;
    }

  private:
    std::uint32_t mState = 1;
};

struct Errors {
    std::array<double, 64> sum{};
    std::array<double, 64> squares{};
    double peak = 0;

    void Add(std::size_t inPosition, double inError) {
        sum[inPosition] += inError;
        squares[inPosition] += inError * inError;
        peak = std::max(peak, std::abs(inError));
    }
};

Errors MeasureRange(const PrimitiveTable& inPrimitives, int inLowest, int inHighest, int inSign,
                    int inBlocks) {
    Generator generator;
    Errors errors;
    for (int i = 0; i < inBlocks; ++i) {
        Matrix pixels;
        for (auto& row : pixels) {
            for (double& pixel : row) pixel = inSign * generator.Next(inLowest, inHighest);
        }
        const CoefficientBlock block = ToCoefficients(Transform(pixels, Direction::Forward));
        const Matrix exact = ExactInverse(block);
        std::int16_t residual[64];
        EXPECT_EQ(inPrimitives.inverseDctToResidual(block, residual, 16), PrimitiveStatus::Ok);
        for (std::size_t p = 0; p < 64; ++p) {
            const double expected = std::clamp(std::floor(exact[p / 8][p % 8] + 0.5), -256.0, 255.0);
            errors.Add(p, std::clamp<double>(residual[p], -256.0, 255.0) - expected);
        }
    }
    return errors;
}

TEST(InverseDct, MeetsIeee1180InAllRanges) {
    constexpr int kBlocks = 10000;
    const struct {
        int lowest;
        int highest;
    } kRanges[] = {{-256, 255}, {-5, 5}, {-300, 300}};
    for (const auto& range : kRanges) {
        for (const int sign : {1, -1}) {
            SCOPED_TRACE(std::to_string(range.highest) + " times " + std::to_string(sign));
            const Errors errors =
                MeasureRange(PortablePrimitives(), range.lowest, range.highest, sign, kBlocks);
            EXPECT_LE(errors.peak, 1.0);
            double sum = 0, squares = 0;
            for (std::size_t p = 0; p < 64; ++p) {
                EXPECT_LE(std::abs(errors.sum[p]) / kBlocks, 0.015);
                EXPECT_LE(errors.squares[p] / kBlocks, 0.06);
                sum += errors.sum[p];
                squares += errors.squares[p];
            }
            EXPECT_LE(std::abs(sum) / kBlocks / 64, 0.0015);
            EXPECT_LE(squares / kBlocks / 64, 0.0005);  // The standard allows 0.02.
        }
    }
}

TEST(InverseDct, WorstCasesNeitherOverflowNorWrap) {
    for (std::size_t y = 0; y < 8; ++y) {
        for (std::size_t x = 0; x < 8; ++x) {
            CoefficientBlock block{};
            for (std::size_t p = 0; p < 64; ++p) {  // Everything adds up at (x, y).
                block.values[p] = Basis()[p % 8][y] * Basis()[p / 8][x] < 0 ? -2048 : 2047;
            }
            block.reach = 63;
            const Matrix exact = ExactInverse(block);
            std::int16_t residual[64];
            ASSERT_EQ(PortablePrimitives().inverseDctToResidual(block, residual, 16), PrimitiveStatus::Ok);
            for (std::size_t p = 0; p < 64; ++p) EXPECT_NEAR(residual[p], exact[p / 8][p % 8], 1.5);
        }
    }
}

// An exact half that mismatch control lets through: at the first sample, what the other three coefficients
// add to half a level cancels out.
TEST(InverseDct, RoundsTiesUpInAllVariants) {
    CoefficientBlock block{};
    block.values[0] = 4;
    block.values[2 * 8 + 1] = 1;
    block.values[4 * 8 + 1] = block.values[6 * 8 + 5] = -1;
    block.reach = 63;
    for (const PrimitiveTable* table : RunnableTables()) {
        std::int16_t residual[64];
        ASSERT_EQ(table->inverseDctToResidual(block, residual, 16), PrimitiveStatus::Ok);
        EXPECT_EQ(residual[0], 1);
    }
}

// Golden rows: digests (FNV-1a) of what the fixed-point scheme and numbers of AP-922 give, worked out apart
// from this library. All variants are held against the portable one.
TEST(ReducedIdct, GivesTheStatedNumbers) {
    const struct {
        int limit;
        std::uint64_t digest;
    } kRows[] = {{2047, 0xBC8B0F1D3AB89CC4},
                 {1023, 0xD04235747407898B},
                 {255, 0x0D13979788EFF56B},
                 {31, 0xC1C3D75A0F76A110}};
    for (const auto& row : kRows) {
        Generator generator;
        std::uint64_t digest = 0xCBF29CE484222325;
        for (int i = 0; i < 20000; ++i) {
            CoefficientBlock block{};
            block.reach = 63;
            for (std::size_t p = 0; p < 32; ++p) {
                block.values[p] = static_cast<std::int16_t>(generator.Next(-row.limit, row.limit));
            }
            std::int16_t reduced[32], quarter[16];
            ASSERT_EQ(PortablePrimitives().reducedIdctToResidual(block, reduced, 8), PrimitiveStatus::Ok);
            ASSERT_EQ(PortablePrimitives().quarterIdctToResidual(block, quarter, 8), PrimitiveStatus::Ok);
            for (std::size_t at = 0; at < 32; ++at) {
                digest = (digest ^ static_cast<std::uint16_t>(reduced[at])) * 0x100000001B3;
                if (at % 8 < 4) {
                    ASSERT_EQ(quarter[at / 8 * 4 + at % 8], reduced[at]) << "the even rows";
                }
            }
        }
        EXPECT_EQ(digest, row.digest) << row.limit;
    }
}

}  // namespace
}  // namespace Vexmora::Test
