// Headers cut short or made of noise: parsing ends, stays within the data, and depends on nothing behind it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "Mpeg2/CodedBytes.h"

namespace Vexmora::Test {
namespace {

struct Outcome {
    Vexmora_Status sequence;
    Vexmora_Status picture;
    std::int32_t nextCode;
    std::uint32_t height;
    std::array<std::uint32_t, 2> fCode;
    QuantiserMatrix intra;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

/// Both parsers one after the other over the same data.
Outcome ParseBoth(BitReader inReader) {
    DecodingParameters parameters;
    Outcome outcome{};
    (void)inReader.NextStartCode();
    outcome.sequence = ParseSequenceHeader(inReader, parameters);
    (void)inReader.NextStartCode();
    (void)inReader.NextStartCode();
    parameters.picture.temporalReference = inReader.GetBits(10);
    parameters.picture.pictureCodingType = inReader.GetBits(3);
    outcome.picture = ParsePictureHeader(inReader, parameters);
    outcome.nextCode = inReader.NextStartCode();
    outcome.height = parameters.sequence.displayHeight;
    outcome.fCode = parameters.picture.fCode[1];
    outcome.intra = parameters.matrices.loadedIntra;
    return outcome;
}

/// The same outcome in memory of the exact size and in front of set bits.
Outcome ParseInAnyMemory(const Bytes& inBytes) {
    const CodedBytes exact(inBytes);
    const Outcome outcome = ParseBoth(exact.Reader());

    const ExactHost host;
    StartCodeTable table;
    const auto roomy =
        CodedPictureBuffer::Create(static_cast<std::uint32_t>(inBytes.size() + 1024), table, host.Services());
    roomy->Append(Bytes(inBytes.size() + 1024, 0xFF));
    roomy->SetSize(0);
    roomy->Append(inBytes);
    EXPECT_EQ(roomy->ScanForPictureEnd(), exact.complete);
    roomy->SwapWords();
    EXPECT_EQ(ParseBoth(BitReader(*roomy)), outcome);
    return outcome;
}

Bytes WholeHeaders() {
    const Bytes plain = SequenceHeader();
    BitWriter header;
    for (std::size_t at = 0; at + 1 < plain.size(); ++at) header.Put(8, plain[at]);
    header.Put(7, plain.back() >> 1 | 1);  // load_intra_quantiser_matrix
    for (int matrix = 0; matrix < 2; ++matrix) {
        for (unsigned k = 0; k < 64; ++k) header.Put(8, 0x40 + k);
        if (matrix == 0) header.Put(1, 1);  // load_non_intra_quantiser_matrix
    }
    BitWriter matrix;
    matrix.Put(32, 0x1B5).Put(4, 3).Put(1, 1);
    for (unsigned k = 0; k < 64; ++k) matrix.Put(8, 0x11 + k);
    return Join({header.Take(),
                 SequenceExtension(),
                 SequenceDisplayExtension(60, 40),
                 GopHeader(),
                 {0, 0, 1, 0xB2},
                 BitWriter().Put(10, 3).Put(3, 3).Put(16, 0).Put(8, 0x77).Put(1, 0).Take(),
                 PictureCodingExtension(),
                 matrix.Take(),
                 {0, 0, 1, 0xB2, 9, 9, 9},
                 {0, 0, 1, 1, 9, 9}});
}

TEST(WildHeaders, CutAtEveryByte) {
    Bytes whole = WholeHeaders();
    const std::size_t sliceCodeEnd = whole.size() - 2;
    whole.resize((whole.size() + 3) / 4 * 4, 9);  // the last word's other bytes would be read with it
    const Outcome complete = ParseInAnyMemory(whole);
    EXPECT_EQ(complete.sequence, Vexmora_Ok);
    EXPECT_EQ(complete.picture, Vexmora_Ok);
    EXPECT_EQ(complete.height, 40u);
    EXPECT_EQ(complete.nextCode, 0x101);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const Outcome outcome =
            size % 4 == 0 && size > 0 ? ParseInAnyMemory(cut) : ParseBoth(CodedBytes(cut).Reader());
        EXPECT_TRUE(outcome.sequence == Vexmora_Ok || outcome.sequence == Vexmora_Unsupported);
        EXPECT_EQ(outcome == complete, size >= sliceCodeEnd) << size;
    }
}

TEST(WildHeaders, MadeOfNoise) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    constexpr std::uint8_t kCodes[] = {0xB2, 0xB3, 0xB5, 0xB5, 0xB5, 0xB8, 0x01, 0xB7};
    const Bytes whole = WholeHeaders();
    int passed = 0;
    for (int round = 0; round < 4000; ++round) {
        Bytes bytes = round % 2 == 0 ? whole : Bytes();
        bytes.resize((bytes.size() + random() % 300 + 8) / 4 * 4);
        for (std::size_t at = round % 2 == 0 ? whole.size() : 0; at < bytes.size(); ++at) {
            bytes[at] = static_cast<std::uint8_t>(random());
        }
        for (std::size_t change = random() % 12; change > 0; --change) {
            const int bit = 1 << random() % 8;
            std::uint8_t& byte = bytes[random() % bytes.size()];
            byte = static_cast<std::uint8_t>(byte ^ bit);
        }
        for (std::size_t code = random() % 6; code > 0; --code) {
            const std::size_t at = random() % (bytes.size() - 4);
            const Bytes startCode = {0, 0, 1, kCodes[random() % std::size(kCodes)]};
            std::copy(startCode.begin(), startCode.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        }
        passed += ParseInAnyMemory(bytes).picture == Vexmora_Ok;
    }
    EXPECT_GT(passed, 100) << "the noise hardly ever reached the end of the headers";
}

}  // namespace
}  // namespace Vexmora::Test
