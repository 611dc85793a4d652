// Sequence headers: every field, every refusal, and what follows the header.
#include <gtest/gtest.h>

#include "Mpeg2/CodedBytes.h"

namespace Vexmora::Test {
namespace {

struct Fields {
    unsigned width = 720;
    unsigned height = 576;
    unsigned aspect_ratio_information = 3;
    unsigned frame_rate_code = 3;
    unsigned marker_bit = 1;
    bool intraMatrix = false;     // weights 1 to 64 in transmission order
    bool nonIntraMatrix = false;  // weights 101 to 164
    unsigned identifier = 1;
    unsigned profile_and_level_indication = 0x48;
    unsigned progressive_sequence = 1;
    unsigned chroma_format = 1;
    unsigned size_extensions = 0;
    unsigned extensionMarker = 1;
    unsigned frame_rate_extension_n = 0;
    unsigned frame_rate_extension_d = 0;
};

void PutWeights(BitWriter& ioWriter, unsigned inFirst) {
    for (unsigned k = 0; k < 64; ++k) ioWriter.Put(8, inFirst + k);
}

Bytes Header(const Fields& inFields) {
    BitWriter writer;
    writer.Put(32, 0x1B3).Put(12, inFields.width).Put(12, inFields.height);
    writer.Put(4, inFields.aspect_ratio_information).Put(4, inFields.frame_rate_code);
    writer.Put(18, 0x2ABCD).Put(1, inFields.marker_bit).Put(10, 0x3FF).Put(1, 1).Put(1, inFields.intraMatrix);
    if (inFields.intraMatrix) PutWeights(writer, 1);
    writer.Put(1, inFields.nonIntraMatrix);
    if (inFields.nonIntraMatrix) PutWeights(writer, 101);
    return writer.Take();
}

Bytes Extension(const Fields& inFields) {
    BitWriter writer;
    writer.Put(32, 0x1B5).Put(4, inFields.identifier).Put(8, inFields.profile_and_level_indication);
    writer.Put(1, inFields.progressive_sequence)
        .Put(2, inFields.chroma_format)
        .Put(4, inFields.size_extensions);
    writer.Put(12, 0).Put(1, inFields.extensionMarker).Put(8, 0xFF).Put(1, 1);
    return writer.Put(2, inFields.frame_rate_extension_n).Put(5, inFields.frame_rate_extension_d).Take();
}

/// Parses inBytes, which begin with a sequence header; what comes next goes to outNext.
DecodeStatus ParseSequence(const Bytes& inBytes, SequenceParameters& outParameters,
                           std::int32_t* outNext = nullptr) {
    const CodedBytes coded(inBytes);
    BitReader reader = coded.Reader();
    EXPECT_EQ(reader.NextStartCode(), 0x1B3);
    const DecodeStatus status = ParseSequenceHeader(reader, outParameters);
    if (outNext != nullptr) *outNext = reader.NextStartCode();
    return status;
}

DecodeStatus ParseWith(const Fields& inFields, SequenceParameters& outParameters) {
    return ParseSequence(Join({Header(inFields), Extension(inFields)}), outParameters);
}

TEST(SequenceHeader, ReadsEveryField) {
    SequenceParameters parameters;
    ASSERT_EQ(ParseWith({.frame_rate_extension_n = 2, .frame_rate_extension_d = 6}, parameters),
              DecodeStatus::Ok);
    const Vexmora::SequenceHeader& sequence = parameters.sequence;
    EXPECT_EQ(sequence.horizontalSize, 720u);
    EXPECT_EQ(sequence.displayWidth, 720u);
    EXPECT_EQ(sequence.lumaStride, 768u);
    EXPECT_EQ(sequence.verticalSize, 576u);
    EXPECT_EQ(sequence.displayHeight, 576u);
    EXPECT_EQ(sequence.mbWidth, 45u);
    EXPECT_EQ(sequence.mbHeight, 36u);
    EXPECT_EQ(sequence.aspectRatioInformation, 3u);
    EXPECT_EQ(sequence.progressiveSequence, 1u);
    EXPECT_EQ(sequence.chromaBlocks, 2u);
    EXPECT_EQ(sequence.frameRateExtensionN, 2u);
    EXPECT_EQ(sequence.frameRateExtensionD, 6u);
    EXPECT_DOUBLE_EQ(sequence.framePeriod, 7.0 / 75);

    ASSERT_EQ(
        ParseWith({.width = 1, .height = 4095, .progressive_sequence = 0, .chroma_format = 3}, parameters),
        DecodeStatus::Ok);
    EXPECT_EQ(sequence.lumaStride, 128u);
    EXPECT_EQ(sequence.mbWidth, 1u);
    EXPECT_EQ(sequence.mbHeight, 256u);
    EXPECT_EQ(sequence.progressiveSequence, 0u);
    EXPECT_EQ(sequence.chromaBlocks, 8u);
}

TEST(SequenceHeader, KnowsTheFrameRates) {
    const double rates[16] = {
        30, 24000 / 1001.0, 24, 25, 30000 / 1001.0, 30, 50, 60000 / 1001.0, 60, 30, 30, 30, 30, 30, 30, 30};
    for (unsigned code = 0; code < 16; ++code) {
        SequenceParameters parameters;
        ASSERT_EQ(ParseWith({.frame_rate_code = code}, parameters), DecodeStatus::Ok);
        EXPECT_DOUBLE_EQ(parameters.sequence.framePeriod, 1 / rates[code]) << code;
    }
}

TEST(SequenceHeader, RefusesWhatItCannotDecode) {
    const Fields refused[] = {
        {.aspect_ratio_information = 0},
        {.aspect_ratio_information = 15},
        {.marker_bit = 0},
        {.identifier = 2},
        {.profile_and_level_indication = 0x58},
        {.profile_and_level_indication = 0xD8},
        {.extensionMarker = 0},
        {.size_extensions = 4},  // wider than 4095
        {.size_extensions = 1},  // taller
    };
    SequenceParameters parameters;
    for (const Fields& fields : refused) {
        EXPECT_EQ(ParseWith(fields, parameters), DecodeStatus::InvalidData) << &fields - refused;
        EXPECT_EQ(parameters, SequenceParameters{}) << "nothing is written";
    }
    EXPECT_EQ(ParseWith({.aspect_ratio_information = 14, .profile_and_level_indication = 0x59}, parameters),
              DecodeStatus::Ok);
    EXPECT_EQ(ParseSequence(Header({}), parameters), DecodeStatus::InvalidData)
        << "MPEG-1: no extension at all";
    EXPECT_EQ(ParseSequence(Join({Header({}), GopHeader(), Extension({})}), parameters),
              DecodeStatus::InvalidData);
    EXPECT_EQ(ParseSequence(Join({Header({}), {0, 0, 1, 0xB2, 1}, Extension({})}), parameters),
              DecodeStatus::InvalidData);
}

TEST(SequenceHeader, LoadsMatricesInZigzagOrderAndResetsThem) {
    SequenceParameters parameters;
    const QuantiserMatrices& matrices = parameters.matrices;
    ASSERT_EQ(ParseWith({.intraMatrix = true, .nonIntraMatrix = true}, parameters), DecodeStatus::Ok);
    EXPECT_EQ(matrices.intraLuma, MatrixSource::LoadedIntra);
    EXPECT_EQ(matrices.intraChroma, MatrixSource::LoadedIntra);
    EXPECT_EQ(matrices.nonIntraLuma, MatrixSource::LoadedNonIntra);
    EXPECT_EQ(matrices.nonIntraChroma, MatrixSource::LoadedNonIntra);
    // The second and third coefficients in zigzag order are right of and below the first.
    const QuantiserMatrix& intra = *matrices.Find(matrices.intraChroma);
    EXPECT_EQ(intra[0], 1);
    EXPECT_EQ(intra[1], 2);
    EXPECT_EQ(intra[8], 3);
    EXPECT_EQ(intra[2], 6);
    EXPECT_EQ(intra[7 * 8 + 7], 64);
    EXPECT_EQ((*matrices.Find(matrices.nonIntraLuma))[8], 103);

    ASSERT_EQ(ParseWith({.nonIntraMatrix = true}, parameters), DecodeStatus::Ok);
    EXPECT_EQ(matrices.intraLuma, MatrixSource::DefaultIntra);
    EXPECT_EQ(matrices.nonIntraChroma, MatrixSource::LoadedNonIntra);
    ASSERT_EQ(ParseWith(Fields{}, parameters), DecodeStatus::Ok);
    EXPECT_EQ(matrices.intraChroma, MatrixSource::DefaultIntra);
    EXPECT_EQ(matrices.Find(matrices.nonIntraLuma), nullptr);
    EXPECT_EQ(matrices.Find(matrices.nonIntraChroma), nullptr);
    const QuantiserMatrix& standard = *matrices.Find(MatrixSource::DefaultIntra);
    EXPECT_EQ(standard[0], 8);
    EXPECT_EQ(standard[7], 34);
    EXPECT_EQ(standard[63], 83);
}

TEST(SequenceHeader, PassesOverWhatFollowsToTheNextStartCode) {
    const Bytes header = Join({Header({.height = 1088}), Extension({})});
    const Bytes user = {0, 0, 1, 0xB2, 'a', 'b'};
    SequenceParameters parameters;
    std::int32_t next = 0;
    const Bytes display = SequenceDisplayExtension(1440, 1080);
    const Bytes colourful = SequenceDisplayExtension(1440, 0x1234, 5, ColourDescription{1, 2, 3});
    ASSERT_EQ(ParseSequence(Join({header, user, display, user, GopHeader()}), parameters, &next),
              DecodeStatus::Ok);
    EXPECT_EQ(parameters.sequence.displayHeight, 1080u);
    EXPECT_EQ(parameters.sequence.displayWidth, 720u);
    EXPECT_EQ(next, 0x1B8);
    ASSERT_EQ(ParseSequence(Join({header, colourful, SequenceEnd()}), parameters, &next), DecodeStatus::Ok);
    EXPECT_EQ(parameters.sequence.displayHeight, 0x234u) << "its low 12 bits";
    EXPECT_EQ(next, 0x1B7);
    ASSERT_EQ(ParseSequence(Join({header, GopHeader(), display}), parameters, &next), DecodeStatus::Ok);
    EXPECT_EQ(parameters.sequence.displayHeight, 1088u);
    EXPECT_EQ(next, 0x1B8);
    ASSERT_EQ(ParseSequence(Join({header, user}), parameters, &next), DecodeStatus::Ok);
    EXPECT_EQ(next, 0x1B2) << "the last start code is met again";
}

}  // namespace
}  // namespace Vexmora::Test
