// Picture headers: every field, every refusal, the extensions behind, and what stays from picture to picture.
#include <gtest/gtest.h>

#include <functional>

#include "Mpeg2/CodedBytes.h"

namespace Vexmora::Test {
namespace {

const Bytes kSlice = {0, 0, 1, 1, 0x12};
const Bytes kUser = {0, 0, 1, 0xB2, 'a', 'b', 'c'};

struct Coding {
    unsigned f_code = 0x1234;
    unsigned intra_dc_precision = 2;
    unsigned picture_structure = 3;
    unsigned flags = 0;  // from top_field_first to chroma_420_type
    unsigned progressive_frame = 0;
};

Bytes CodingExtension(const Coding& inCoding) {
    BitWriter writer;
    writer.Put(32, 0x1B5).Put(4, 8).Put(16, inCoding.f_code).Put(2, inCoding.intra_dc_precision);
    writer.Put(2, inCoding.picture_structure).Put(8, inCoding.flags).Put(1, inCoding.progressive_frame);
    return writer.Put(1, 1).Put(20, 0xFFFFF).Take();  // composite display
}

constexpr unsigned kTopFieldFirst = 0x80, kFramePredFrameDct = 0x40, kConcealment = 0x20, kQScaleType = 0x10;
constexpr unsigned kIntraVlcFormat = 8, kAlternateScanFlag = 4, kRepeatFirstField = 2, kChroma420 = 1;

/// The rest of a picture header behind picture_coding_type, as the buffer begins: temporal_reference and type
/// come first and are read by the caller.
Bytes PictureHeaderBytes(unsigned inType, unsigned inForward = 3, unsigned inBackward = 5) {
    BitWriter writer;
    writer.Put(10, 77).Put(3, inType).Put(16, 0xFFFF);
    if (inType == 2 || inType == 3) writer.Put(1, 1).Put(3, inForward);
    if (inType == 3) writer.Put(1, 0).Put(3, inBackward);
    return writer.Put(1, 1).Put(8, 0xFF).Put(1, 0).Take();
}

Vexmora_Status ParsePicture(const Bytes& inBytes, DecodingParameters& ioParameters,
                            std::uint32_t inNext = 0x101) {
    const CodedBytes coded(inBytes);
    BitReader reader = coded.Reader();
    ioParameters.picture.temporalReference = reader.GetBits(10);
    ioParameters.picture.pictureCodingType = reader.GetBits(3);
    const Vexmora_Status status = ParsePictureHeader(reader, ioParameters);
    if (status == Vexmora_Ok) {
        EXPECT_EQ(reader.ShowBits(32), inNext);
        EXPECT_EQ(reader.ConsumeStartCode(), inNext);
    }
    return status;
}

Vexmora_Status ParseWith(const Coding& inCoding, DecodingParameters& ioParameters) {
    return ParsePicture(Join({PictureHeaderBytes(1), CodingExtension(inCoding), kSlice}), ioParameters);
}

TEST(PictureHeader, ReadsEveryFieldOfTheCodingExtension) {
    // One flag at a time, so that none stands for another.
    using Header = Vexmora::PictureHeader;
    const std::pair<unsigned, std::uint32_t Header::*> flags[] = {
        {kTopFieldFirst, &Header::topFieldFirst},
        {kFramePredFrameDct, &Header::framePredFrameDct},
        {kConcealment, &Header::concealmentMotionVectors},
        {kQScaleType, &Header::qScaleType},
        {kAlternateScanFlag, &Header::alternateScan},
        {kRepeatFirstField, &Header::repeatFirstField},
        {kChroma420, &Header::chroma420Type}};
    DecodingParameters parameters;
    parameters.sequence.chromaBlocks = 4;
    for (const auto& [bit, field] : flags) {
        ASSERT_EQ(ParseWith({.flags = bit}, parameters), Vexmora_Ok);
        for (const auto& [otherBit, other] : flags) {
            EXPECT_EQ(parameters.picture.*other, otherBit == bit ? 1u : 0u) << bit << " " << otherBit;
        }
    }
    const Vexmora::PictureHeader& picture = parameters.picture;
    EXPECT_EQ(picture.temporalReference, 77u);
    EXPECT_EQ(picture.fCode[0][0], 1u);
    EXPECT_EQ(picture.fCode[0][1], 2u);
    EXPECT_EQ(picture.fCode[1][0], 3u);
    EXPECT_EQ(picture.fCode[1][1], 4u);
    EXPECT_EQ(picture.pictureStructure, 3u);
    EXPECT_EQ(picture.progressiveFrame, 0u);

    parameters.sequence.chromaBlocks = 2;  // 4:2:0: chroma_420_type is progressive_frame
    ASSERT_EQ(ParseWith({.picture_structure = 2, .flags = kChroma420}, parameters), Vexmora_Ok);
    EXPECT_EQ(picture.chroma420Type, 0u);
    EXPECT_EQ(picture.pictureStructure, 2u);
    ASSERT_EQ(ParseWith({.progressive_frame = 1}, parameters), Vexmora_Ok);
    EXPECT_EQ(picture.chroma420Type, 1u);
    EXPECT_EQ(picture.progressiveFrame, 1u);
}

TEST(PictureHeader, DerivesTheConstantsOfSlices) {
    DecodingParameters parameters;
    for (unsigned precision = 0; precision < 4; ++precision) {
        ASSERT_EQ(ParseWith({.intra_dc_precision = precision, .flags = kIntraVlcFormat}, parameters),
                  Vexmora_Ok);
        EXPECT_EQ(8 >> precision, 1 << parameters.constants.dcShift);
        EXPECT_EQ(parameters.constants.dcReset, 128 << precision);
        EXPECT_TRUE(parameters.constants.intraTableB15);
    }
    ASSERT_EQ(ParseWith(Coding{}, parameters), Vexmora_Ok);
    EXPECT_FALSE(parameters.constants.intraTableB15);
}

TEST(PictureHeader, TakesDefaultsWithoutACodingExtension) {
    DecodingParameters parameters;
    ASSERT_EQ(ParseWith({.picture_structure = 1, .flags = kIntraVlcFormat | kQScaleType}, parameters),
              Vexmora_Ok);
    ASSERT_EQ(ParsePicture(Join({PictureHeaderBytes(3), kSlice}), parameters), Vexmora_Ok);
    EXPECT_EQ(parameters.picture.pictureStructure, 3u);
    EXPECT_EQ(parameters.picture.framePredFrameDct, 1u);
    EXPECT_FALSE(parameters.constants.intraTableB15);
    EXPECT_EQ(parameters.picture.fCode[0], (std::array<std::uint32_t, 2>{3, 3}));
    EXPECT_EQ(parameters.picture.fCode[1], (std::array<std::uint32_t, 2>{5, 5}));
    EXPECT_EQ(parameters.picture.qScaleType, 1u) << "stays";
    EXPECT_EQ(parameters.constants.dcReset, 512) << "stays";
    // An extension behind user data is a further one: it does not make the coding parameters.
    ASSERT_EQ(ParsePicture(Join({PictureHeaderBytes(4), kUser, CodingExtension({.picture_structure = 1}),
                                 kUser, kSlice}),
                           parameters),
              Vexmora_Ok);
    EXPECT_EQ(parameters.picture.pictureStructure, 3u);
}

TEST(PictureHeader, RefusesWhatIsNotValid) {
    DecodingParameters parameters;
    for (const unsigned type : {0u, 5u, 6u, 7u}) {
        EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(type), kSlice}), parameters), Vexmora_Unsupported)
            << type;
    }
    EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(2, 0), kSlice}), parameters), Vexmora_Unsupported);
    EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(3, 0, 1), kSlice}), parameters), Vexmora_Unsupported);
    EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(3, 1, 0), kSlice}), parameters), Vexmora_Unsupported);
    for (unsigned f_code = 0; f_code < 16; ++f_code) {
        const bool valid = (f_code >= 1 && f_code <= 9) || f_code == 15;
        for (const unsigned shift : {0u, 4u, 8u, 12u}) {
            EXPECT_EQ(ParseWith({.f_code = (0x1111u & ~(15u << shift)) | f_code << shift}, parameters),
                      valid ? Vexmora_Ok : Vexmora_Unsupported)
                << f_code << " << " << shift;
        }
    }
    EXPECT_EQ(ParseWith({.picture_structure = 0}, parameters), Vexmora_Unsupported);
    for (const unsigned structure : {1u, 2u}) {
        EXPECT_EQ(ParseWith({.picture_structure = structure, .flags = kFramePredFrameDct}, parameters),
                  Vexmora_Unsupported);
        EXPECT_EQ(ParseWith({.picture_structure = structure, .flags = kRepeatFirstField}, parameters),
                  Vexmora_Unsupported);
    }
}

Bytes MatrixExtension(unsigned inFlags, unsigned inWeight) {
    BitWriter writer;
    writer.Put(32, 0x1B5).Put(4, 3);
    for (unsigned flag = 8; flag != 0; flag >>= 1) {
        writer.Put(1, (inFlags & flag) != 0);
        for (unsigned k = 0; (inFlags & flag) != 0 && k < 64; ++k) writer.Put(8, inWeight + k % 2);
    }
    return writer.Take();
}

TEST(PictureHeader, LoadsMatricesAmongOtherExtensions) {
    DecodingParameters parameters;
    QuantiserMatrices& matrices = parameters.matrices;
    matrices.intraChroma = MatrixSource::LoadedIntra;  // as a sequence header leaves it
    const Bytes pan = BitWriter().Put(32, 0x1B5).Put(4, 7).Put(34, 0).Put(34, 0).Take();
    const auto parse = [&](unsigned inFlags, unsigned inWeight) {
        return ParsePicture(Join({PictureHeaderBytes(1),
                                  CodingExtension({}),
                                  pan,
                                  kUser,
                                  MatrixExtension(inFlags, inWeight),
                                  pan,
                                  kUser,
                                  {0, 0, 1, 2, 9}}),
                            parameters, 0x102);
    };
    ASSERT_EQ(parse(8, 40), Vexmora_Ok);
    EXPECT_EQ(matrices.intraLuma, MatrixSource::LoadedIntra);
    EXPECT_EQ((*matrices.Find(matrices.intraChroma))[0], 40) << "follows the luma matrix";
    EXPECT_EQ(matrices.nonIntraLuma, MatrixSource::Flat);
    ASSERT_EQ(parse(7, 50), Vexmora_Ok);
    EXPECT_EQ((*matrices.Find(matrices.intraLuma))[1], 41) << "stays";
    EXPECT_EQ(matrices.nonIntraLuma, MatrixSource::LoadedNonIntra);
    EXPECT_EQ(matrices.intraChroma, MatrixSource::LoadedChromaIntra);
    EXPECT_EQ(matrices.nonIntraChroma, MatrixSource::LoadedChromaNonIntra);
    EXPECT_EQ((*matrices.Find(matrices.nonIntraChroma))[1], 51);
    EXPECT_EQ(parameters.sequence.loadIntraMatrix, 0u);
    EXPECT_EQ(parameters.sequence.loadChromaNonIntraMatrix, 1u);
}

}  // namespace
}  // namespace Vexmora::Test
