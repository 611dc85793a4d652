// Every table that the processor runs against the portable primitives: values, status, what lies around the
// output, and how far the reader gets. Names say table and primitive, for --gtest_filter and
// --gtest_list_tests.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <functional>

#include "Primitives/PrimitiveSupport.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora::Test {
namespace {

class VariantCheck : public testing::TestWithParam<int> {
  protected:
    const PrimitiveTable& mPortable = PortablePrimitives();
    const PrimitiveTable& mTable = PrimitivesAt(GetParam());
    RandomNumbers mRandom;
};

int RunnableTableCount() {
    return TableFor(kVariantCount - 1, RunningProcessor()) + 1;
}
INSTANTIATE_TEST_SUITE_P(Table, VariantCheck, testing::Range(0, RunnableTableCount()),
                         testing::PrintToStringParamName());

/// Rows of bytes at a base and a step of the test's choice, with other bytes before, between and behind them.
class GuardedRows {
  public:
    GuardedRows(RandomNumbers& ioRandom, std::size_t inBase, std::size_t inStep, std::size_t inRows)
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
std::vector<CoefficientBlock> MakeBlocks(RandomNumbers& ioRandom) {
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
        for (const PrimitiveTable* table : {&mTable, &mPortable}) {
            ASSERT_EQ(table->findStartCodePrefix(bytes, positions), prefix) << positions;
            ASSERT_EQ(table->findCodeButSlices(bytes, codes), std::min(code, codes)) << codes;
            Bytes swapped = memory;
            table->swapWords(swapped.data() + inMisalignment, inBytes.size() / 4);
            for (std::size_t i = 0; i < memory.size(); ++i) {
                const std::size_t word = (i - inMisalignment) / 4 * 4 + inMisalignment;
                const bool isSwapped = i >= inMisalignment && word + 4 <= memory.size();
                ASSERT_EQ(swapped[i], memory[isSwapped ? 2 * word + 3 - i : i]);
            }
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

// Random bits, most of which run into a code that does not exist, far from and close to the end of data: the
// blocks of macroblocks beside the same blocks one by one.
TEST_P(VariantCheck, BlockDecoding) {
    std::array<VlcTable, 2> dc_sizes;
    RunLevelTable first_table, ac_table, alternative;
    ASSERT_EQ(BuildVlcTable(kDctDcSizeLuminanceList, dc_sizes[0]), PrimitiveStatus::Ok);
    ASSERT_EQ(BuildVlcTable(kDctDcSizeChrominanceList, dc_sizes[1]), PrimitiveStatus::Ok);
    ASSERT_EQ(BuildRunLevelTable(kDctFirstCoefficientList, first_table), PrimitiveStatus::Ok);
    ASSERT_EQ(BuildRunLevelTable(kDctCoefficientList, ac_table), PrimitiveStatus::Ok);
    ASSERT_EQ(BuildRunLevelTable(kDctCoefficientAlternativeList, alternative), PrimitiveStatus::Ok);
    std::array<std::uint8_t, 64> scan;
    for (unsigned i = 0; i < 64; ++i) scan[i] = static_cast<std::uint8_t>(i * 37 % 64);
    std::array<std::array<std::uint16_t, 64>, 2> weights;
    std::array<ScaledPositions, 2> positions;
    std::array<int, kBlocks + 1> decoded{};  // how often so many blocks were decoded
    for (int round = 0; round < 300; ++round) {
        const std::int32_t scale = mRandom.Between(0, 112);
        for (std::size_t plane = 0; plane < 2; ++plane) {
            for (std::uint16_t& weight : weights[plane])
                weight = static_cast<std::uint16_t>(mRandom.Between(1, 255));
            MakeScaledPositions(scan.data(), weights[plane].data(), scale, positions[plane]);
        }
        // Codes of one and two bits and ends of blocks are what whole macroblocks are made of.
        Bytes bytes(static_cast<std::size_t>(mRandom.Between(4, 900)));
        for (std::uint8_t& byte : bytes)
            byte = round % 2 == 0 ? mRandom.Byte() : static_cast<std::uint8_t>(mRandom.Byte() | 0x92);
        Bytes words = ToWords(bytes);
        const std::size_t word_count = words.size() / 4;
        words.resize(words.size() + kZeroBytesBehindWords);
        const auto& ac = round % 4 < 2 ? alternative : ac_table;
        const IntraCoding intra{{ViewOf(dc_sizes[0]), ViewOf(dc_sizes[1])},
                                ViewOf(ac),
                                {&positions[0], &positions[1]},
                                round % 4};
        const NonIntraCoding non_intra{ViewOf(first_table), ViewOf(ac_table), {&positions[0], &positions[1]}};
        for (std::size_t bit = 0; bit < word_count * 32;
             bit += static_cast<std::size_t>(mRandom.Between(1, 20))) {
            const auto pattern = static_cast<std::uint32_t>(mRandom.Between(0, 63));
            for (const bool is_intra : {true, false}) {
                const BitWindow start(words.data(), word_count, bit);
                BitWindow expected_place = start, place = start;
                CoefficientBlocks expected{}, blocks{};
                std::array<std::int16_t, 3> expected_predictors{100, 200, 300};
                auto predictors = expected_predictors;
                std::uint32_t expected_decoded = 0;
                PrimitiveStatus expected_status = PrimitiveStatus::Ok;
                for (std::size_t block = 0; block < kBlocks; ++block) {
                    const std::size_t plane = block < kLumaBlocks ? 0 : 1;
                    const std::uint32_t mask = 32u >> block;
                    if (!is_intra && (pattern & mask) == 0) continue;
                    const std::uint16_t* const matrix = weights[plane].data();
                    expected_status =
                        is_intra
                            ? mPortable.decodeIntraBlock(
                                  expected_place,
                                  {ViewOf(dc_sizes[plane]), ViewOf(ac), scan.data(), matrix, scale,
                                   round % 4},
                                  expected_predictors[block < kLumaBlocks ? 0 : block - 3], expected[block])
                            : mPortable.decodeNonIntraBlock(
                                  expected_place,
                                  {ViewOf(first_table), ViewOf(ac_table), scan.data(), matrix, scale},
                                  expected[block]);
                    if (expected_status != PrimitiveStatus::Ok) break;
                    expected_decoded |= mask;
                }
                std::size_t count = 0;
                std::uint32_t mask = 0;
                const PrimitiveStatus status =
                    is_intra ? mTable.decodeIntraBlocks(place, intra, predictors, blocks, count)
                             : mTable.decodeNonIntraBlocks(place, non_intra, pattern, blocks, mask);
                if (is_intra) mask = 63u & ~(63u >> count);
                SCOPED_TRACE("round " + std::to_string(round) + ", bit " + std::to_string(bit));
                ASSERT_EQ(status == PrimitiveStatus::Ok, expected_status == PrimitiveStatus::Ok);
                const bool is_whole = status == PrimitiveStatus::Ok;
                const BitWindow& end = is_whole ? expected_place : start;
                ASSERT_EQ(place.NextBit(), end.NextBit());
                ASSERT_EQ(place.Show(32), end.Show(32));
                if (is_whole) {
                    ASSERT_EQ(predictors, expected_predictors);
                }
                // At the end of the data it may take a code more until the failure shows.
                ASSERT_EQ(mask & expected_decoded, expected_decoded);
                for (std::size_t block = 0; block < kBlocks; ++block) {
                    if ((expected_decoded & 32u >> block) == 0) continue;
                    ASSERT_EQ(std::memcmp(blocks[block].values, expected[block].values, 128), 0);
                    ASSERT_EQ(blocks[block].reach, expected[block].reach);
                }
                ++decoded[static_cast<std::size_t>(std::popcount(mask))];
            }
        }
    }
    for (const int count : decoded) EXPECT_GT(count, 100) << testing::PrintToString(decoded);
}

TEST(VariantCheckItself, RunsTablesOnThisProcessor) {
    EXPECT_GT(RunnableTableCount(), 0);
    EXPECT_LE(RunnableTableCount(), kTableCount);
}

}  // namespace
}  // namespace Vexmora::Test
