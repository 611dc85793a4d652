// Bits against a plain string of bits, and the way from start code to start code.
#include "mpeg2/BitReader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Mpeg2/CodedBytes.h"
#include "Support/Options.h"

namespace Vexmora::Test {
namespace {

TEST(BitReader, ReadsAnyCountsAndZerosBehindTheEnd) {
    std::mt19937 random(Option("VEXMORA_SEED", 1));
    for (std::size_t size = 4; size <= 40; ++size) {
        Bytes bytes(size);
        std::string bits;
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random() | 2);  // no start codes
            for (int bit = 7; bit >= 0; --bit) bits += (byte >> bit & 1) != 0 ? '1' : '0';
        }
        bits.append(640, '0');
        const CodedBytes coded(bytes);
        BitReader reader = coded.Reader();
        for (std::size_t at = 0; at < size * 8 + 500;) {
            const unsigned count = 1 + random() % 32;
            const auto expected = static_cast<std::uint32_t>(std::stoull(bits.substr(at, count), nullptr, 2));
            const auto offset = static_cast<std::int64_t>(at / 32 * 4);
            const auto bitIndex = static_cast<std::int64_t>(31 - at % 32);
            ASSERT_EQ(reader.BytesLeft(), static_cast<std::int64_t>(size) - offset - ((bitIndex + 7) >> 3));
            ASSERT_EQ(reader.ShowBits(count), expected) << size << " bytes, bit " << at;
            if (random() % 2 == 0) {
                ASSERT_EQ(reader.GetBits(count), expected);
            } else {
                reader.SkipBits(count);
            }
            at += count;
        }
    }
}

TEST(BitReader, GoesFromStartCodeToStartCode) {
    // Start codes in all four places of a word, each followed by a byte of its own.
    const CodedBytes coded(
        {0, 0, 1, 0xB3, 0x33, 0, 0, 1, 0xB5, 0x55, 0, 0, 1, 0xB2, 0x22, 0, 0, 1, 0x01, 0x11});
    BitReader reader = coded.Reader();
    EXPECT_EQ(reader.NextStartCode(), 0x1B3);
    EXPECT_EQ(reader.ShowBits(8), 0x33u);
    EXPECT_EQ(reader.PeekStartCode(), 0x1B5u);
    EXPECT_EQ(reader.ShowBits(32), 0x1B5u);
    EXPECT_EQ(reader.PeekStartCode(), 0x1B5u);
    EXPECT_EQ(reader.ConsumeStartCode(), 0x1B5u);
    EXPECT_EQ(reader.ShowBits(8), 0x55u);
    reader.UnconsumeStartCode();
    EXPECT_EQ(reader.ShowBits(32), 0x1B5u);
    EXPECT_EQ(reader.NextStartCode(), 0x1B5);
    EXPECT_EQ(reader.NextStartCode(), 0x1B2);
    reader.UngetStartCode();
    EXPECT_EQ(reader.ShowBits(8), 0x22u);
    EXPECT_EQ(reader.NextStartCode(), 0x1B2);
    EXPECT_EQ(reader.NextStartCode(), 0x101);

    EXPECT_EQ(reader.GetBits(8), 0x11u);
    EXPECT_EQ(reader.PeekStartCode(), 0u);
    EXPECT_EQ(reader.ConsumeStartCode(), 0u);
    EXPECT_EQ(reader.NextStartCode(), BitReader::kNoStartCode);
    EXPECT_EQ(reader.BytesLeft(), -4) << "none of them moved";
    reader.UngetStartCode();
    EXPECT_EQ(reader.NextStartCode(), 0x101);
    for (int back = 0; back < 6; ++back) reader.UngetStartCode();
    EXPECT_EQ(reader.NextStartCode(), 0x1B3);
    for (int back = 0; back < 6; ++back) reader.UnconsumeStartCode();
    EXPECT_EQ(reader.ShowBits(32), 0x1B3u);
}

}  // namespace
}  // namespace Vexmora::Test
