// Coefficient decoding: every code, escapes, inverse quantisation, mismatch control, damaged data.
#include "primitives/BlockDecode.h"

#include <gtest/gtest.h>

#include <map>
#include <numeric>

#include "Primitives/PrimitiveSupport.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora::Test {
namespace {

/// A coefficient list turned into an encoder.
class RunLevelEncoder {
  public:
    explicit RunLevelEncoder(VlcList inList) {
        std::size_t at = 2 + static_cast<std::size_t>(inList[1]);
        for (unsigned length = 1; length <= static_cast<unsigned>(inList[0]); ++length) {
            for (std::int32_t count = inList[at++]; count > 0; --count, at += 3) {
                mCodes[{inList[at + 1], inList[at + 2]}] = {length, static_cast<unsigned>(inList[at])};
            }
        }
    }
    void Put(BitWriter& ioWriter, int inRun, int inLevel) const {
        const auto found = mCodes.find({inRun, std::abs(inLevel)});
        const Code code = found != mCodes.end() ? found->second : mCodes.at({kRunEscape, 0});
        ioWriter.Put(code.length, code.bits);
        if (found == mCodes.end()) {
            ioWriter.Put(6, static_cast<unsigned>(inRun)).Put(12, static_cast<unsigned>(inLevel) & 0xFFF);
        } else if (inRun != kRunEndOfBlock) {
            ioWriter.Put(1, inLevel < 0 ? 1U : 0U);
        }
    }
    void PutEndOfBlock(BitWriter& ioWriter) const { Put(ioWriter, kRunEndOfBlock, 0); }

  private:
    struct Code {
        unsigned length;
        unsigned bits;
    };
    std::map<std::pair<int, int>, Code> mCodes;
};

struct RunLevel {
    int run;
    int level;
};

/// Tables, encoders and the parameters of blocks.
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

    IntraBlockCoding Intra(bool inAlternative = false) const {
        return {
            ViewOf(mDcSize), ViewOf(inAlternative ? mAlternative : mAc), mScan.data(), mWeights.data(), 2, 3};
    }
    NonIntraBlockCoding NonIntra() const {
        return {ViewOf(mFirst), ViewOf(mAc), mScan.data(), mWeights.data(), 2};
    }

    /// The coefficients of a block by the formulas of 7.4, given its DC coefficient if it is an intra block.
    std::array<int, 64> Reconstruct(const std::vector<RunLevel>& inCodes, std::optional<int> inDc,
                                    int inScale) const {
        std::array<int, 64> values{};
        int sum = 0;
        int index = inDc ? 0 : -1;
        const auto set = [&](int inAt, int inValue) {
            sum += values[mScan[static_cast<std::size_t>(inAt)]] = std::clamp(inValue, -2048, 2047);
        };
        if (inDc) set(0, *inDc);
        for (const RunLevel& code : inCodes) {
            index += code.run + 1;
            const int doubled = 2 * code.level + (inDc ? 0 : code.level < 0 ? -1 : 1);
            const int weight = mWeights[static_cast<std::size_t>(index)];
            set(index, static_cast<int>(static_cast<std::int64_t>(doubled) * weight * inScale / 32));
        }
        if (sum % 2 == 0) values[63] += values[63] % 2 == 0 ? 1 : -1;
        return values;
    }

    static void ExpectBlock(const CoefficientBlock& inBlock, const std::array<int, 64>& inExpected) {
        for (std::size_t p = 0; p < 64; ++p) {
            ASSERT_EQ(inBlock.values[p], inExpected[p]) << "position " << p;
            ASSERT_TRUE(inBlock.reach != 0 || p == 0 || inExpected[p] == 0 || (p == 63 && inExpected[p] == 1))
                << "position " << p;
        }
    }

    const RunLevelEncoder mFirstEncoder{kDctFirstCoefficientList};
    const RunLevelEncoder mAcEncoder{kDctCoefficientList};
    const RunLevelEncoder mAlternativeEncoder{kDctCoefficientAlternativeList};
    VlcTable mDcSize;
    RunLevelTable mFirst, mAc, mAlternative;
    std::array<std::uint8_t, 64> mScan;
    std::array<std::uint16_t, 64> mWeights;
};

TEST_F(BlockDecode, EveryRunAndLevelInEveryTable) {
    std::vector<int> levels(48);
    std::iota(levels.begin(), levels.end(), 1);
    levels.insert(levels.end(), {127, 128, 1023, 2046, 2047});
    const auto all = RunnableTables();
    unsigned before = 0;
    for (int run = 0; run < 63; ++run) {
        for (const int magnitude : levels) {
            for (const int level : {magnitude, -magnitude}) {
                before = (before + 1) % 32;
                BitWriter writer;
                writer.Put(before, 0);
                mFirstEncoder.Put(writer, run, level);
                mAcEncoder.PutEndOfBlock(writer);
                for (const auto* encoder : {&mAcEncoder, &mAlternativeEncoder}) {
                    writer.Put(3, 0b100);  // a DC differential of 0
                    encoder->Put(writer, run, level);
                    encoder->PutEndOfBlock(writer);
                }
                const Bytes words = ToWords(writer.Take());
                for (const NamedTable& table : all) {
                    SCOPED_TRACE(table.name + ", run " + std::to_string(run) + ", level " +
                                 std::to_string(level));
                    BitWindow position = PositionIn(words, before);
                    CoefficientBlock block;
                    ASSERT_EQ(table.primitives->decodeNonIntraBlock(position, NonIntra(), block),
                              PrimitiveStatus::Ok);
                    ExpectBlock(block, Reconstruct({{run, level}}, {}, 2));
                    for (const bool alternative : {false, true}) {
                        std::int16_t predictor = 9;
                        ASSERT_EQ(table.primitives->decodeIntraBlock(position, Intra(alternative), predictor,
                                                                     block),
                                  PrimitiveStatus::Ok);
                        ExpectBlock(block, Reconstruct({{run, level}}, 9 * 8, 2));
                    }
                    ASSERT_EQ((position.NextBit() + 31) / 32, position.wordCount);
                }
            }
        }
    }
}

TEST_F(BlockDecode, RandomBlocksOneAfterTheOther) {
    RandomNumbers random;
    for (int round = 0; round < 300; ++round) {
        std::shuffle(mScan.begin() + 1, mScan.end(),
                     std::mt19937(static_cast<unsigned>(random.Between(0, 1 << 20))));
        for (std::uint16_t& weight : mWeights) weight = static_cast<std::uint16_t>(random.Between(1, 255));
        const int scale = random.Between(1, 112);
        BitWriter writer;
        std::vector<std::array<int, 64>> expected;
        for (int block = 0; block < 8; ++block) {
            std::vector<RunLevel> codes;
            int index = -1;
            while (true) {
                const int run = random.Between(0, 5);
                if ((index += run + 1) > 63) break;
                const int highest = random.Between(0, 3) == 0 ? 2047 : 3;
                const int level = random.Between(1, highest);
                codes.push_back({run, random.Between(0, 1) == 0 ? level : -level});
            }
            for (std::size_t i = 0; i < codes.size(); ++i) {
                (i == 0 ? mFirstEncoder : mAcEncoder).Put(writer, codes[i].run, codes[i].level);
            }
            mAcEncoder.PutEndOfBlock(writer);
            expected.push_back(Reconstruct(codes, {}, scale));
        }
        const Bytes words = ToWords(writer.Take());
        for (const NamedTable& table : RunnableTables()) {
            BitWindow position = PositionIn(words);
            NonIntraBlockCoding coding = NonIntra();
            coding.quantiserScale = scale;
            for (const auto& values : expected) {
                CoefficientBlock block;
                ASSERT_EQ(table.primitives->decodeNonIntraBlock(position, coding, block),
                          PrimitiveStatus::Ok);
                ExpectBlock(block, values);
            }
            ASSERT_EQ((position.NextBit() + 31) / 32, position.wordCount);
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
        for (const NamedTable& table : RunnableTables()) {
            BitWindow position = PositionIn(words);
            IntraBlockCoding coding = Intra();
            coding.dcShift = one.shift;
            std::int16_t predictor = one.before;
            CoefficientBlock block;
            ASSERT_EQ(table.primitives->decodeIntraBlock(position, coding, predictor, block),
                      PrimitiveStatus::Ok);
            EXPECT_EQ(predictor, one.after);
            EXPECT_EQ(block.values[0], one.coefficient);
            EXPECT_EQ(block.values[63], one.coefficient % 2 == 0 ? 1 : 0);
            EXPECT_EQ(position.NextBit(), one.length + one.size + 2);
        }
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
        BitWriter writer;
        writer.Put(3, 0b100);
        mAcEncoder.Put(writer, 0, one.level);
        mAcEncoder.PutEndOfBlock(writer);
        mFirstEncoder.Put(writer, 1, one.level);
        mAcEncoder.PutEndOfBlock(writer);
        const Bytes words = ToWords(writer.Take());
        IntraBlockCoding intra = Intra();
        NonIntraBlockCoding non_intra = NonIntra();
        intra.quantiserScale = non_intra.quantiserScale = one.scale;
        for (const NamedTable& table : RunnableTables()) {
            BitWindow position = PositionIn(words);
            std::int16_t predictor = 0;
            CoefficientBlock block;
            ASSERT_EQ(table.primitives->decodeIntraBlock(position, intra, predictor, block),
                      PrimitiveStatus::Ok);
            EXPECT_EQ(block.values[mScan[1]], one.intra);
            EXPECT_EQ(block.values[63], one.intra % 2 == 0 ? 1 : 0);
            ASSERT_EQ(table.primitives->decodeNonIntraBlock(position, non_intra, block), PrimitiveStatus::Ok);
            EXPECT_EQ(block.values[mScan[1]], one.non_intra);
            EXPECT_EQ(block.values[63], one.non_intra % 2 == 0 ? 1 : 0);
        }
    }
    // No matrix means 16 everywhere: (2 * 3 + 1) * 16 * 4 / 32.
    BitWriter writer;
    mFirstEncoder.Put(writer, 1, 3);
    mAcEncoder.PutEndOfBlock(writer);
    const Bytes words = ToWords(writer.Take());
    NonIntraBlockCoding flat = NonIntra();
    flat.weights = nullptr;
    flat.quantiserScale = 4;
    BitWindow position = PositionIn(words);
    CoefficientBlock block;
    ASSERT_EQ(PortablePrimitives().decodeNonIntraBlock(position, flat, block), PrimitiveStatus::Ok);
    EXPECT_EQ(block.values[mScan[1]], 14);
}

TEST_F(BlockDecode, BadDataIsRefusedAndMovesNothing) {
    const auto put = [this](std::initializer_list<RunLevel> inCodes) {
        BitWriter writer;
        writer.Put(3, 0b100);
        for (const RunLevel& code : inCodes) mAcEncoder.Put(writer, code.run, code.level);
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
        for (const NamedTable& table : RunnableTables()) {
            BitWindow position = PositionIn(words);
            std::int16_t predictor = 55;
            CoefficientBlock block;
            EXPECT_EQ(table.primitives->decodeIntraBlock(position, Intra(), predictor, block), one.status)
                << ::testing::PrintToString(one.bytes);
            EXPECT_EQ(position.NextBit(), 0U);
            EXPECT_EQ(predictor, 55);
        }
    }
}

TEST_F(BlockDecode, MissingTablesAreRefused) {
    const Bytes words = ToWords(Bytes(8, 0xFF));
    const RunLevelTable empty;
    for (const NamedTable& table : RunnableTables()) {
        BitWindow position = PositionIn(words);
        std::int16_t predictor = 0;
        CoefficientBlock block;
        IntraBlockCoding intra = Intra();
        intra.weights = nullptr;
        EXPECT_EQ(table.primitives->decodeIntraBlock(position, intra, predictor, block),
                  PrimitiveStatus::NullPointer);
        NonIntraBlockCoding non_intra = NonIntra();
        non_intra.acTable = ViewOf(empty);
        EXPECT_EQ(table.primitives->decodeNonIntraBlock(position, non_intra, block),
                  PrimitiveStatus::NullPointer);
    }
}

TEST_F(BlockDecode, RandomDataEndsWithinItsBlockAndMemory) {
    RandomNumbers random;
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes(static_cast<std::size_t>(random.Between(1, 80)));
        for (std::uint8_t& byte : bytes) byte = random.Byte();
        const Bytes words = ToWords(bytes);
        const auto start =
            static_cast<std::size_t>(random.Between(0, static_cast<int>(words.size()) * 8 + 40));
        for (const NamedTable& table : RunnableTables()) {
            BitWindow position = PositionIn(words, start);
            CoefficientBlock block;
            const auto status = table.primitives->decodeNonIntraBlock(position, NonIntra(), block);
            if (status == PrimitiveStatus::Ok) {
                EXPECT_GT(position.NextBit(), start);
                EXPECT_LE(position.NextBit(), words.size() * 8);
            } else {
                EXPECT_EQ(position.NextBit(), start);
            }
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
