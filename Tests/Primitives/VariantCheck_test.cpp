// Every table that the processor runs against the portable primitives: values, status, what lies around the
// output, and how far the reader gets. Names say table and primitive, for --gtest_filter and
// --gtest_list_tests.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <functional>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

class VariantCheck : public testing::TestWithParam<const PrimitiveTable*> {
  protected:
    const PrimitiveTable& mPortable = PortablePrimitives();
    const PrimitiveTable& mTable = *GetParam();
    Random mRandom;
};

INSTANTIATE_TEST_SUITE_P(Table, VariantCheck, testing::ValuesIn(RunnableTables()),
                         [](const auto& inInfo) { return std::to_string(inInfo.index); });

/// Rows of bytes at a base and a step of the test's choice, with other bytes before, between and behind them.
class GuardedRows {
  public:
    GuardedRows(Random& ioRandom, std::size_t inBase, std::size_t inStep, std::size_t inRows)
        : mBase(kGuard + inBase), mStep(inStep), mBytes(mBase + inStep * inRows + kGuard) {
        for (std::uint8_t& byte : mBytes) byte = ioRandom.Byte();
    }
    std::uint8_t* Begin() { return mBytes.data() + mBase; }
    std::int16_t* Words() { return reinterpret_cast<std::int16_t*>(Begin()); }
    std::ptrdiff_t Step() const { return static_cast<std::ptrdiff_t>(mStep); }
    friend bool operator==(const GuardedRows& in, const GuardedRows& inOther) {
        return in.mBytes == inOther.mBytes;
    }

  private:
    static constexpr std::size_t kGuard = 64;
    std::size_t mBase;
    std::size_t mStep;
    Bytes mBytes;
};

CoefficientBlock MakeBlock(const std::function<int(unsigned)>& inValueAt) {
    CoefficientBlock block{};
    for (unsigned p = 0; p < 64; ++p) {
        block.values[p] = static_cast<std::int16_t>(inValueAt(p));
        if (block.values[p] != 0) block.reach |= p;
    }
    return block;
}

/// Single coefficients, the DC coefficient alone and with mismatch control, sparse, dense and extreme blocks.
std::vector<CoefficientBlock> MakeBlocks(Random& ioRandom) {
    std::vector<CoefficientBlock> blocks;
    for (const int value : {-2048, -3, -1, 1, 2, 2047}) {
        for (unsigned at = 0; at < 64; ++at) {
            blocks.push_back(MakeBlock([&](unsigned p) { return p == at ? value : 0; }));
        }
    }
    for (int dc = -2048; dc <= 2047; dc += 1) {
        blocks.push_back(MakeBlock([&](unsigned p) { return p == 0 ? dc : 0; }));
        if (dc % 2 == 0) blocks.back().values[63] = 1;
    }
    for (int i = 0; i < 2000; ++i) {
        const int limit = ioRandom.Between(0, 3) == 0 ? 2047 : 1 << ioRandom.Between(0, 10);
        const int sparsity = ioRandom.Between(0, 20);
        const bool is_extreme = i % 8 == 0;
        blocks.push_back(MakeBlock([&](unsigned) {
            if (ioRandom.Between(0, sparsity) > 1) return 0;
            return is_extreme ? (ioRandom.Between(0, 1) == 0 ? -2048 : 2047)
                              : ioRandom.Between(-limit, limit);
        }));
    }
    return blocks;
}

struct Transforms {
    TransformToPixels toPixels;
    TransformAddToPixels addToPixels;
    TransformToResidual toResidual;
    std::size_t width;
    std::size_t height;
};
std::vector<Transforms> TransformsOf(const PrimitiveTable& in) {
    return {{in.inverseDctToPixels, in.inverseDctAddToPixels, in.inverseDctToResidual, 8, 8},
            {in.reducedIdctToPixels, in.reducedIdctAddToPixels, in.reducedIdctToResidual, 4, 8},
            {in.quarterIdctToPixels, in.quarterIdctAddToPixels, in.quarterIdctToResidual, 4, 4}};
}

TEST_P(VariantCheck, Transforms) {
    const std::vector<CoefficientBlock> blocks = MakeBlocks(mRandom);
    for (std::size_t t = 0; t < 3; ++t) {
        const Transforms portable = TransformsOf(mPortable)[t];
        const Transforms checked = TransformsOf(mTable)[t];
        for (std::size_t b = 0; b < blocks.size(); ++b) {
            SCOPED_TRACE("transform " + std::to_string(t) + ", block " + std::to_string(b));
            const std::size_t step = portable.width + (b % 2 == 0 ? 0 : b % 37);
            CoefficientBlock slow = blocks[b];
            slow.reach = 63;  // No short way.
            GuardedRows residual(mRandom, 0, 2 * step, portable.height);
            GuardedRows expected = residual;
            ASSERT_EQ(portable.toResidual(slow, expected.Words(), expected.Step()), PrimitiveStatus::Ok);
            ASSERT_EQ(checked.toResidual(blocks[b], residual.Words(), residual.Step()), PrimitiveStatus::Ok);
            ASSERT_TRUE(residual == expected);

            GuardedRows sums(mRandom, b % 17, step, portable.height);
            GuardedRows pixels = sums;
            GuardedRows expected_sums = sums;
            GuardedRows expected_pixels = sums;
            for (std::size_t y = 0; y < portable.height; ++y) {
                for (std::size_t x = 0; x < portable.width; ++x) {
                    const int value = expected.Words()[y * step + x];
                    std::uint8_t& sum = expected_sums.Begin()[y * step + x];
                    sum = static_cast<std::uint8_t>(std::clamp(sum + value, 0, 255));
                    expected_pixels.Begin()[y * step + x] =
                        static_cast<std::uint8_t>(std::clamp(value, 0, 255));
                }
            }
            ASSERT_EQ(checked.addToPixels(blocks[b], sums.Begin(), sums.Step()), PrimitiveStatus::Ok);
            ASSERT_TRUE(sums == expected_sums);
            ASSERT_EQ(checked.toPixels(blocks[b], pixels.Begin(), pixels.Step()), PrimitiveStatus::Ok);
            ASSERT_TRUE(pixels == expected_pixels);
        }
        EXPECT_EQ(checked.toPixels(blocks[0], nullptr, 8), PrimitiveStatus::NullPointer);
        EXPECT_EQ(checked.addToPixels(blocks[0], nullptr, 8), PrimitiveStatus::NullPointer);
        EXPECT_EQ(checked.toResidual(blocks[0], nullptr, 16), PrimitiveStatus::NullPointer);
    }
}

TEST_P(VariantCheck, Predictions) {
    constexpr std::size_t kReferenceStep = 77;
    Bytes reference(kReferenceStep * 34);
    for (int round = 0; round < 2000; ++round) {
        const bool is_extreme = round % 4 == 0;
        for (std::uint8_t& sample : reference) {
            sample = is_extreme ? static_cast<std::uint8_t>(255 * mRandom.Between(0, 1)) : mRandom.Byte();
        }
        const Bytes before = reference;
        std::int16_t residual[16 * 19];
        for (std::int16_t& value : residual)
            value = static_cast<std::int16_t>(mRandom.Between(-32768, 32767) >> (round % 12));
        const ResidualBlock add{round % 3 == 0 ? residual : nullptr, 2 * (16 + round % 3)};
        const auto size = static_cast<std::size_t>(round) % kBlockSizeCount;
        const auto block = [&] {
            return ReferenceBlock{
                reference.data() + mRandom.Between(0, 60 + static_cast<int>(kReferenceStep) * 15),
                kReferenceStep, static_cast<HalfSampleType>(4 * mRandom.Between(0, 3))};
        };
        const ReferenceBlock first = block();
        const ReferenceBlock second = block();
        GuardedRows expected(mRandom, static_cast<std::size_t>(round) % 16,
                             16 + static_cast<std::size_t>(round) % 50, 16);
        GuardedRows predicted = expected;
        const auto pixels = [](GuardedRows& in) { return PixelBlock{in.Begin(), in.Step()}; };
        ASSERT_EQ(mPortable.predictBlock[size](first, add, pixels(expected)), PrimitiveStatus::Ok);
        ASSERT_EQ(mTable.predictBlock[size](first, add, pixels(predicted)), PrimitiveStatus::Ok);
        ASSERT_TRUE(predicted == expected) << "size " << size;
        const auto portable = mPortable.predictBlockBidirectional[size];
        const auto checked = mTable.predictBlockBidirectional[size];
        ASSERT_EQ(portable(first, second, add, pixels(expected)), PrimitiveStatus::Ok);
        ASSERT_EQ(checked(first, second, add, pixels(predicted)), PrimitiveStatus::Ok);
        ASSERT_TRUE(predicted == expected) << "size " << size;
        ASSERT_EQ(reference, before);
        EXPECT_EQ(mTable.predictBlock[size]({}, add, pixels(predicted)), PrimitiveStatus::NullPointer);
        EXPECT_EQ(checked(first, {}, add, pixels(predicted)), PrimitiveStatus::NullPointer);
        EXPECT_EQ(checked(first, second, add, {}), PrimitiveStatus::NullPointer);
    }
}

// In memory that ends with the last byte: sparse and dense bytes, and one prefix at every place among near
// misses.
TEST_P(VariantCheck, StartCodeSearchAndWords) {
    const auto check = [&](const Bytes& inBytes, std::size_t inMisalignment) {
        Bytes memory(inMisalignment);
        memory.insert(memory.end(), inBytes.begin(), inBytes.end());
        memory.shrink_to_fit();
        const std::uint8_t* const bytes = memory.data() + inMisalignment;
        const std::size_t positions = inBytes.size() - 2;
        std::size_t prefix = 0;
        while (prefix < positions &&
               !(bytes[prefix] == 0 && bytes[prefix + 1] == 0 && bytes[prefix + 2] == 1))
            ++prefix;
        const std::size_t codes = std::max<std::size_t>(positions, 1) - 1;
        std::size_t code = prefix;  // of anything but a slice
        while (code < codes && !(bytes[code] == 0 && bytes[code + 1] == 0 && bytes[code + 2] == 1 &&
                                 (bytes[code + 3] == 0 || bytes[code + 3] > 0xAF)))
            ++code;
        ASSERT_EQ(mTable.findStartCodePrefix(bytes, positions), prefix) << positions;
        ASSERT_EQ(mTable.findCodeButSlices(bytes, codes), std::min(code, codes)) << codes;
        Bytes swapped = memory;
        mTable.swapWords(swapped.data() + inMisalignment, inBytes.size() / 4);
        for (std::size_t i = 0; i < memory.size(); ++i) {
            const std::size_t word = (i - inMisalignment) / 4 * 4 + inMisalignment;
            const bool isSwapped = i >= inMisalignment && word + 4 <= memory.size();
            ASSERT_EQ(swapped[i], memory[isSwapped ? 2 * word + 3 - i : i]);
        }
    };
    for (std::size_t size = 2; size <= 302; ++size) {
        for (const int highest : {1, 2, 8, 255}) {
            Bytes bytes(size);
            for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(mRandom.Between(0, highest));
            check(bytes, size % 32);
        }
        for (const auto filler : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{255}}) {
            Bytes bytes(305, filler);
            constexpr std::uint8_t kCodes[] = {0, 1, 0xAF, 0xB0};
            const std::uint8_t startCode[] = {0, 0, 1, kCodes[size % 4]};
            std::copy_n(startCode, std::min<std::size_t>(4, bytes.size() - size),
                        bytes.begin() + static_cast<std::ptrdiff_t>(size));
            check(bytes, size % 32);
        }
    }
}

/// How macroblocks are coded, for the decoders of whole ones and for those of single blocks.
struct MacroblockCoding {
    MacroblockCoding() {
        EXPECT_EQ(BuildVlcTable(kDctDcSizeLuminanceList, dcSizes[0]), PrimitiveStatus::Ok);
        EXPECT_EQ(BuildVlcTable(kDctDcSizeChrominanceList, dcSizes[1]), PrimitiveStatus::Ok);
        EXPECT_EQ(BuildRunLevelTable(kDctFirstCoefficientList, first), PrimitiveStatus::Ok);
        EXPECT_EQ(BuildRunLevelTable(kDctCoefficientList, acTables[0]), PrimitiveStatus::Ok);
        EXPECT_EQ(BuildRunLevelTable(kDctCoefficientAlternativeList, acTables[1]), PrimitiveStatus::Ok);
        for (unsigned i = 0; i < 64; ++i) scan[i] = static_cast<std::uint8_t>(i * 37 % 64);
    }
    void SetScale(std::int32_t inScale, Random& ioRandom) {
        scale = inScale;
        for (std::size_t plane = 0; plane < 2; ++plane) {
            for (std::uint16_t& weight : weights[plane])
                weight = static_cast<std::uint16_t>(ioRandom.Between(1, 255));
            MakeScaledPositions(scan.data(), weights[plane].data(), scale, positions[plane]);
        }
    }

    std::array<VlcTable, 2> dcSizes;
    RunLevelTable first;
    std::array<RunLevelTable, 2> acTables;
    std::array<std::uint8_t, 64> scan;
    std::array<std::array<std::uint16_t, 64>, 2> weights;
    std::array<ScaledPositions, 2> positions;
    std::int32_t scale = 0;
    std::int32_t dcShift = 0;
    std::size_t ac = 0;
    bool isIntra = false;
    std::uint32_t pattern = 0;
};

struct Macroblock {
    explicit Macroblock(const BitWindow& inPlace) : place(inPlace) {}
    BitWindow place;
    bool isWhole = true;
    std::uint32_t decoded = 0;  // bits as in coded_block_pattern
    std::array<std::int16_t, 3> predictors{100, 200, 300};
    CoefficientBlocks blocks{};
};

Macroblock DecodeAtOnce(const PrimitiveTable& inTable, const MacroblockCoding& in, const BitWindow& inPlace) {
    Macroblock result(inPlace);
    const std::array positions{&in.positions[0], &in.positions[1]};
    if (in.isIntra) {
        const IntraCoding coding{{ViewOf(in.dcSizes[0]), ViewOf(in.dcSizes[1])},
                                 ViewOf(in.acTables[in.ac]),
                                 positions,
                                 in.dcShift};
        std::size_t count = 0;
        result.isWhole = inTable.decodeIntraBlocks(result.place, coding, result.predictors, result.blocks,
                                                   count) == PrimitiveStatus::Ok;
        result.decoded = 63u & ~(63u >> count);
    } else {
        const NonIntraCoding coding{ViewOf(in.first), ViewOf(in.acTables[0]), positions};
        result.isWhole = inTable.decodeNonIntraBlocks(result.place, coding, in.pattern, result.blocks,
                                                      result.decoded) == PrimitiveStatus::Ok;
    }
    return result;
}

Macroblock DecodeOneByOne(const MacroblockCoding& in, const BitWindow& inPlace) {
    const PrimitiveTable& portable = PortablePrimitives();
    Macroblock result(inPlace);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const std::size_t plane = block < kLumaBlocks ? 0 : 1;
        if (!in.isIntra && (in.pattern & 32u >> block) == 0) continue;
        const std::uint16_t* const weights = in.weights[plane].data();
        const IntraBlockCoding intra{ViewOf(in.dcSizes[plane]),
                                     ViewOf(in.acTables[in.ac]),
                                     in.scan.data(),
                                     weights,
                                     in.scale,
                                     in.dcShift};
        const NonIntraBlockCoding nonIntra{ViewOf(in.first), ViewOf(in.acTables[0]), in.scan.data(), weights,
                                           in.scale};
        std::int16_t& predictor = result.predictors[plane == 0 ? 0 : block - 3];
        result.isWhole =
            (in.isIntra ? portable.decodeIntraBlock(result.place, intra, predictor, result.blocks[block])
                        : portable.decodeNonIntraBlock(result.place, nonIntra, result.blocks[block])) ==
            PrimitiveStatus::Ok;
        if (!result.isWhole) break;
        result.decoded |= 32u >> block;
    }
    return result;
}

void ExpectSame(const Macroblock& in, const Macroblock& inExpected, const BitWindow& inStart) {
    ASSERT_EQ(in.isWhole, inExpected.isWhole);
    const BitWindow& end = in.isWhole ? inExpected.place : inStart;
    ASSERT_EQ(in.place.NextBit(), end.NextBit());
    ASSERT_EQ(in.place.Show(32), end.Show(32));
    if (in.isWhole) {
        ASSERT_EQ(in.predictors, inExpected.predictors);
    }
    // At the end of the data it may take a code more until the failure shows.
    ASSERT_EQ(in.decoded & inExpected.decoded, inExpected.decoded);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        if ((inExpected.decoded & 32u >> block) == 0) continue;
        ASSERT_EQ(std::memcmp(in.blocks[block].values, inExpected.blocks[block].values, 128), 0);
        ASSERT_EQ(in.blocks[block].reach, inExpected.blocks[block].reach);
    }
}

// Random bits, most of which run into a code that does not exist, far from and close to the end of data: the
// blocks of macroblocks beside the same blocks one by one, which need no bytes behind the data.
TEST_P(VariantCheck, BlockDecoding) {
    MacroblockCoding coding;
    std::array<int, kBlocks + 1> decoded{};  // how often so many blocks were decoded
    for (int round = 0; round < 300; ++round) {
        coding.SetScale(mRandom.Between(0, 112), mRandom);
        coding.dcShift = round % 4;
        coding.ac = round % 4 < 2 ? 1 : 0;
        // Codes of one and two bits and ends of blocks are what whole macroblocks are made of.
        Bytes bytes(static_cast<std::size_t>(mRandom.Between(4, 900)));
        for (std::uint8_t& byte : bytes)
            byte = round % 2 == 0 ? mRandom.Byte() : static_cast<std::uint8_t>(mRandom.Byte() | 0x92);
        const Bytes words = ToWords(bytes);
        const Bytes followed = Join({words, Bytes(kZeroBytesBehindWords, 0)});
        for (std::size_t bit = 0; bit < words.size() * 8;
             bit += static_cast<std::size_t>(mRandom.Between(1, 20))) {
            SCOPED_TRACE("round " + std::to_string(round) + ", bit " + std::to_string(bit));
            coding.pattern = static_cast<std::uint32_t>(mRandom.Between(0, 63));
            for (const bool is_intra : {true, false}) {
                coding.isIntra = is_intra;
                const BitWindow start(followed.data(), words.size() / 4, bit);
                const Macroblock expected = DecodeOneByOne(coding, PositionIn(words, bit));
                const Macroblock found = DecodeAtOnce(mTable, coding, start);
                ASSERT_NO_FATAL_FAILURE(ExpectSame(found, expected, start));
                ++decoded[static_cast<std::size_t>(std::popcount(found.decoded))];
            }
        }
    }
    for (const int count : decoded) EXPECT_GT(count, 100) << testing::PrintToString(decoded);
}

}  // namespace
}  // namespace Vexmora::Test
