// Coefficient decoding: every code, escapes, inverse quantisation, mismatch control, damaged data.
#include "primitives/BlockDecode.h"

#include <gtest/gtest.h>

#include <numeric>
#include <optional>

#include "Primitives/PrimitiveSupport.h"
#include "Syntax/SyntaxWriter.h"

namespace Vexmora::Test {
namespace {

struct RunLevel {
    unsigned run;
    int level;
};

/// Tables, and the parameters of blocks.
class BlockDecode : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(BuildVlcTable(kDctDcSizeLuminanceList, mDcSize), PrimitiveStatus::Ok);
        ASSERT_EQ(BuildRunLevelTable(kDctFirstCoefficientList, mFirst), PrimitiveStatus::Ok);
        ASSERT_EQ(BuildRunLevelTable(kDctCoefficientList, mAc), PrimitiveStatus::Ok);
        ASSERT_EQ(BuildRunLevelTable(kDctCoefficientAlternativeList, mAlternative), PrimitiveStatus::Ok);
        for (unsigned i = 0; i < 64; ++i) mScan[i] = static_cast<std::uint8_t>(i * 37 % 64);
        mWeights.fill(16);
    }

    IntraBlockCoding Intra() const {
        return {ViewOf(mDcSize), ViewOf(mAc), mScan.data(), mWeights.data(), mScale, 3};
    }
    NonIntraBlockCoding NonIntra() const {
        return {ViewOf(mFirst), ViewOf(mAc), mScan.data(), mWeights.data(), mScale};
    }

    static void PutNonIntra(SyntaxWriter& ioWriter, RunLevel inCode) {
        ioWriter.PutCoefficient(CoefficientTable::First, inCode.run, inCode.level, false);
        ioWriter.PutEndOfBlock(CoefficientTable::B14);
    }
    /// With a DC differential of 0.
    static void PutIntra(SyntaxWriter& ioWriter, CoefficientTable inTable, RunLevel inCode) {
        ioWriter.Put(3, 0b100).PutCoefficient(inTable, inCode.run, inCode.level, false);
        ioWriter.PutEndOfBlock(inTable);
    }

    /// Both with the place at the next block.
    CoefficientBlock DecodeIntra(BitWindow& ioPosition, const IntraBlockCoding& inCoding) const {
        CoefficientBlock block;
        std::int16_t predictor = 9;
        EXPECT_EQ(mPrimitives.decodeIntraBlock(ioPosition, inCoding, predictor, block), PrimitiveStatus::Ok);
        return block;
    }
    CoefficientBlock DecodeNonIntra(BitWindow& ioPosition, const NonIntraBlockCoding& inCoding) const {
        CoefficientBlock block;
        EXPECT_EQ(mPrimitives.decodeNonIntraBlock(ioPosition, inCoding, block), PrimitiveStatus::Ok);
        return block;
    }

    /// Compares with the coefficients by the formulas of 7.4: one at most, and the DC coefficient if it is an
    /// intra block.
    void ExpectBlock(const CoefficientBlock& inBlock, std::optional<RunLevel> inCode,
                     std::optional<int> inDc) const {
        std::array<int, 64> values{};
        int sum = 0;
        const auto set = [&](std::size_t inAt, int inValue) {
            sum += values[mScan[inAt]] = std::clamp(inValue, -2048, 2047);
        };
        if (inDc) set(0, *inDc);
        if (inCode) {
            const std::size_t index = inCode->run + (inDc ? 1 : 0);
            const int doubled = 2 * inCode->level + (inDc ? 0 : inCode->level < 0 ? -1 : 1);
            set(index, doubled * mWeights[index] * mScale / 32);
        }
        if (sum % 2 == 0) values[63] += values[63] % 2 == 0 ? 1 : -1;
        for (std::size_t p = 0; p < 64; ++p) {
            ASSERT_EQ(inBlock.values[p], values[p]) << "position " << p;
            ASSERT_TRUE(inBlock.reach != 0 || p == 0 || values[p] == 0 || (p == 63 && values[p] == 1))
                << "position " << p;
        }
    }

    const PrimitiveTable& mPrimitives = PortablePrimitives();
    Features mUnused;
    VlcTable mDcSize;
    RunLevelTable mFirst, mAc, mAlternative;
    std::array<std::uint8_t, 64> mScan;
    std::array<std::uint16_t, 64> mWeights;
    int mScale = 2;
};

TEST_F(BlockDecode, EveryRunAndLevelInEveryTable) {
    std::vector<int> levels(48);
    std::iota(levels.begin(), levels.end(), 1);
    levels.insert(levels.end(), {127, 128, 1023, 2046, 2047});
    IntraBlockCoding alternative = Intra();
    alternative.acTable = ViewOf(mAlternative);
    unsigned before = 0;
    for (unsigned run = 0; run < 63; ++run) {
        for (const int magnitude : levels) {
            for (const int level : {magnitude, -magnitude}) {
                SCOPED_TRACE("run " + std::to_string(run) + ", level " + std::to_string(level));
                before = (before + 1) % 32;
                SyntaxWriter writer(mUnused);
                PutNonIntra(writer.Put(before, 0), {run, level});
                PutIntra(writer, CoefficientTable::B14, {run, level});
                PutIntra(writer, CoefficientTable::B15, {run, level});
                const Bytes words = ToWords(writer.Take());
                BitWindow position = PositionIn(words, before);
                ExpectBlock(DecodeNonIntra(position, NonIntra()), RunLevel{run, level}, {});
                ExpectBlock(DecodeIntra(position, Intra()), RunLevel{run, level}, 9 * 8);
                ExpectBlock(DecodeIntra(position, alternative), RunLevel{run, level}, 9 * 8);
                ASSERT_EQ((position.NextBit() + 31) / 32, position.wordCount);
            }
        }
    }
}

TEST_F(BlockDecode, DcDifferentialsAddUpAndSaturate) {
    const struct {
        unsigned length;  // of the size code
        unsigned code;
        unsigned size;
        unsigned bits;
        std::int16_t before;
        std::int16_t after;
        std::int32_t shift;
        int coefficient;
    } kCases[] = {{3, 0b100, 0, 0, 128, 128, 3, 1024},
                  {2, 0b00, 1, 0, 128, 127, 3, 1016},
                  {2, 0b00, 1, 1, 128, 129, 3, 1032},
                  {2, 0b01, 2, 0b00, 0, -3, 0, -3},
                  {2, 0b01, 2, 0b01, 0, -2, 0, -2},
                  {2, 0b01, 2, 0b11, 0, 3, 2, 12},
                  {9, 0b111111111, 11, 2047, 128, 2175, 0, 2047},
                  {9, 0b111111111, 11, 0, 0, -2047, 1, -2048}};
    for (const auto& one : kCases) {
        const Bytes words =
            ToWords(BitWriter().Put(one.length, one.code).Put(one.size, one.bits).Put(2, 0b10).Take());
        BitWindow position = PositionIn(words);
        IntraBlockCoding coding = Intra();
        coding.dcShift = one.shift;
        std::int16_t predictor = one.before;
        CoefficientBlock block;
        ASSERT_EQ(mPrimitives.decodeIntraBlock(position, coding, predictor, block), PrimitiveStatus::Ok);
        EXPECT_EQ(predictor, one.after);
        ExpectBlock(block, {}, one.coefficient);
        EXPECT_EQ(position.NextBit(), one.length + one.size + 2);
    }
}

TEST_F(BlockDecode, QuantisationDerivedByHand) {
    const struct {
        int level;
        std::uint16_t weight;
        int scale;
        int intra;
        int non_intra;
    } kCases[] = {{1, 16, 1, 1, 1},      // 2 * 16 / 32, 3 * 16 / 32 = 1.5
                  {-1, 16, 1, -1, -1},   // toward zero
                  {-3, 17, 3, -9, -11},  // -306 / 32 = -9.56, -357 / 32 = -11.2
                  {2047, 16, 112, 2047, 2047},
                  {-2047, 16, 112, -2048, -2048},
                  {-2048, 1, 1, -128, -128},  // forbidden, as is 0
                  {0, 16, 112, 0, 0},
                  {5, 19, 8, 47, 52}};  // 1520 / 32 = 47.5, 1672 / 32 = 52.25
    for (const auto& one : kCases) {
        mWeights[1] = one.weight;
        mScale = one.scale;
        SyntaxWriter writer(mUnused);
        PutIntra(writer, CoefficientTable::B14, {0, one.level});
        PutNonIntra(writer, {1, one.level});
        const Bytes words = ToWords(writer.Take());
        BitWindow position = PositionIn(words);
        const CoefficientBlock intra = DecodeIntra(position, Intra());
        EXPECT_EQ(intra.values[mScan[1]], one.intra);
        EXPECT_EQ(intra.values[63], one.intra % 2 == 0 ? 1 : 0);
        const CoefficientBlock non_intra = DecodeNonIntra(position, NonIntra());
        EXPECT_EQ(non_intra.values[mScan[1]], one.non_intra);
        EXPECT_EQ(non_intra.values[63], one.non_intra % 2 == 0 ? 1 : 0);
    }
    // No matrix means 16 everywhere: (2 * 3 + 1) * 16 * 4 / 32.
    SyntaxWriter writer(mUnused);
    PutNonIntra(writer, {1, 3});
    const Bytes words = ToWords(writer.Take());
    BitWindow position = PositionIn(words);
    mScale = 4;
    NonIntraBlockCoding flat = NonIntra();
    flat.weights = nullptr;
    EXPECT_EQ(DecodeNonIntra(position, flat).values[mScan[1]], 14);
}

TEST_F(BlockDecode, BadDataIsRefusedAndMovesNothing) {
    const auto put = [this](std::initializer_list<RunLevel> inCodes) {
        SyntaxWriter writer(mUnused);
        writer.Put(3, 0b100);
        for (const auto& [run, level] : inCodes)
            writer.PutCoefficient(CoefficientTable::B14, run, level, false);
        return writer;
    };
    const struct {
        Bytes bytes;
        PrimitiveStatus status;
    } kCases[] = {{Bytes(40, 0xFF), PrimitiveStatus::TooManyCoefficients},
                  {put({{0, 5}}).Put(32, 0).Take(), PrimitiveStatus::BadCode},
                  {put({{31, 1}, {31, 1}, {0, 1}}).Take(), PrimitiveStatus::TooManyCoefficients},
                  {put({{40, 7}, {23, 7}}).Take(), PrimitiveStatus::TooManyCoefficients},
                  {put({{63, 700}, {0, 1}}).Take(), PrimitiveStatus::TooManyCoefficients},
                  // 3 + 24 + 4 bits and the first bit of an end of block.
                  {put({{2, 9}, {1, 1}}).Put(1, 1).Take(), PrimitiveStatus::OutOfData}};
    for (const auto& one : kCases) {
        const Bytes words = ToWords(one.bytes);
        BitWindow position = PositionIn(words);
        std::int16_t predictor = 55;
        CoefficientBlock block;
        EXPECT_EQ(mPrimitives.decodeIntraBlock(position, Intra(), predictor, block), one.status)
            << ::testing::PrintToString(one.bytes);
        EXPECT_EQ(position.NextBit(), 0U);
        EXPECT_EQ(predictor, 55);
    }
    const Bytes words = ToWords(Bytes(8, 0xFF));
    BitWindow position = PositionIn(words);
    CoefficientBlock block;
    NonIntraBlockCoding lacking = NonIntra();
    lacking.acTable = {};
    EXPECT_EQ(mPrimitives.decodeNonIntraBlock(position, lacking, block), PrimitiveStatus::NullPointer);
}

}  // namespace
}  // namespace Vexmora::Test
