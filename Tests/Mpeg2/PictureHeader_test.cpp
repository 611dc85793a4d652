// Picture headers: every field, every refusal, and the extensions behind.
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
constexpr unsigned kIntraVlcFormat = 8, kAlternateScanFlag = 4, kRepeatFirstField = 2;

/// The rest of a picture header behind picture_coding_type, as the buffer begins: temporal_reference and type
/// come first and are read by the caller.
Bytes PictureHeaderBytes(unsigned inType, unsigned inForward = 3, unsigned inBackward = 5) {
    BitWriter writer;
    writer.Put(10, 77).Put(3, inType).Put(16, 0xFFFF);
    if (inType == 2 || inType == 3) writer.Put(1, 1).Put(3, inForward);
    if (inType == 3) writer.Put(1, 0).Put(3, inBackward);
    return writer.Put(1, 1).Put(8, 0xFF).Put(1, 0).Take();
}

DecodeStatus ParsePicture(const Bytes& inBytes, PictureParameters& ioParameters,
                          std::uint32_t inNext = 0x101) {
    const CodedBytes coded(inBytes);
    BitReader reader = coded.Reader();
    ReadPictureIdentity(reader, ioParameters.picture);
    const DecodeStatus status = ParsePictureHeader(reader, ioParameters);
    if (status == DecodeStatus::Ok) {
        EXPECT_EQ(reader.ShowBits(32), inNext);
        EXPECT_EQ(reader.ConsumeStartCode(), inNext);
    }
    return status;
}

DecodeStatus ParseWith(const Coding& inCoding, PictureParameters& ioParameters) {
    return ParsePicture(Join({PictureHeaderBytes(1), CodingExtension(inCoding), kSlice}), ioParameters);
}

TEST(PictureHeader, ReadsEveryFieldOfTheCodingExtension) {
    // One flag at a time, so that none stands for another.
    using Header = Vexmora::PictureHeader;
    const std::pair<unsigned, std::uint32_t Header::*> flags[] = {
        {kTopFieldFirst, &Header::topFieldFirst},          {kFramePredFrameDct, &Header::framePredFrameDct},
        {kConcealment, &Header::concealmentMotionVectors}, {kQScaleType, &Header::qScaleType},
        {kAlternateScanFlag, &Header::alternateScan},      {kRepeatFirstField, &Header::repeatFirstField}};
    PictureParameters parameters;
    for (const auto& [bit, field] : flags) {
        ASSERT_EQ(ParseWith({.flags = bit}, parameters), DecodeStatus::Ok);
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

    ASSERT_EQ(ParseWith({.picture_structure = 2, .progressive_frame = 1}, parameters), DecodeStatus::Ok);
    EXPECT_EQ(picture.pictureStructure, 2u);
    EXPECT_EQ(picture.progressiveFrame, 1u);
}

TEST(PictureHeader, DerivesTheConstantsOfSlices) {
    PictureParameters parameters;
    for (unsigned precision = 0; precision < 4; ++precision) {
        ASSERT_EQ(ParseWith({.intra_dc_precision = precision, .flags = kIntraVlcFormat}, parameters),
                  DecodeStatus::Ok);
        EXPECT_EQ(8 >> precision, 1 << parameters.constants.dcShift);
        EXPECT_EQ(parameters.constants.dcReset, 128 << precision);
        EXPECT_TRUE(parameters.constants.intraTableB15);
    }
    ASSERT_EQ(ParseWith(Coding{}, parameters), DecodeStatus::Ok);
    EXPECT_FALSE(parameters.constants.intraTableB15);
}

TEST(PictureHeader, RefusesWhatIsNotValid) {
    PictureParameters parameters;
    for (const unsigned type : {0u, 5u, 6u, 7u}) {
        EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(type), kSlice}), parameters),
                  DecodeStatus::InvalidData)
            << type;
    }
    EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(2, 0), kSlice}), parameters), DecodeStatus::InvalidData);
    EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(3, 0, 1), kSlice}), parameters),
              DecodeStatus::InvalidData);
    EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(3, 1, 0), kSlice}), parameters),
              DecodeStatus::InvalidData);
    for (unsigned f_code = 0; f_code < 16; ++f_code) {
        const bool valid = (f_code >= 1 && f_code <= 9) || f_code == 15;
        for (const unsigned shift : {0u, 4u, 8u, 12u}) {
            EXPECT_EQ(ParseWith({.f_code = (0x1111u & ~(15u << shift)) | f_code << shift}, parameters),
                      valid ? DecodeStatus::Ok : DecodeStatus::InvalidData)
                << f_code << " << " << shift;
        }
    }
    EXPECT_EQ(ParseWith({.picture_structure = 0}, parameters), DecodeStatus::InvalidData);
    const Bytes coding = CodingExtension({});
    const Bytes pan = BitWriter().Put(32, 0x1B5).Put(4, 7).Put(34, 0).Take();
    for (const Bytes& extensions : {Bytes{}, pan, Join({pan, coding}), Join({kUser, coding})}) {
        EXPECT_EQ(ParsePicture(Join({PictureHeaderBytes(1), extensions, kSlice}), parameters),
                  DecodeStatus::InvalidData)
            << "the coding extension does not come first";
    }
    for (const unsigned structure : {1u, 2u}) {
        EXPECT_EQ(ParseWith({.picture_structure = structure, .flags = kFramePredFrameDct}, parameters),
                  DecodeStatus::InvalidData);
        EXPECT_EQ(ParseWith({.picture_structure = structure, .flags = kRepeatFirstField}, parameters),
                  DecodeStatus::InvalidData);
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
    SequenceParameters inForce;
    QuantiserMatrices& matrices = inForce.matrices;
    const Bytes pan = BitWriter().Put(32, 0x1B5).Put(4, 7).Put(34, 0).Put(34, 0).Take();
    const auto load = [&](const Bytes& inExtensions) {
        PictureParameters parameters;
        const Bytes picture = Join({PictureHeaderBytes(1), CodingExtension({}), pan, kUser, inExtensions, pan,
                                    kUser, Bytes{0, 0, 1, 2, 9}});
        EXPECT_EQ(ParsePicture(picture, parameters, 0x102), DecodeStatus::Ok);
        EXPECT_EQ(parameters.loads.IsNone(), inExtensions.empty());
        matrices.Load(parameters.loads);
    };
    load(MatrixExtension(8, 40));
    EXPECT_EQ(matrices.intraLuma, MatrixSource::LoadedIntra);
    EXPECT_EQ(matrices.intraChroma, MatrixSource::LoadedIntra) << "applies to 4:2:0 chroma, too";
    EXPECT_EQ(matrices.nonIntraChroma, MatrixSource::Flat);
    load(MatrixExtension(7, 50));
    EXPECT_EQ((*matrices.Find(matrices.intraLuma))[1], 41) << "stays";
    EXPECT_EQ((*matrices.Find(matrices.nonIntraLuma))[0], 50);
    EXPECT_EQ(matrices.intraChroma, MatrixSource::LoadedChromaIntra);
    EXPECT_EQ((*matrices.Find(matrices.nonIntraChroma))[1], 51);
    load({});
    EXPECT_EQ(matrices.nonIntraChroma, MatrixSource::LoadedChromaNonIntra);
    load(Join({MatrixExtension(3, 60), MatrixExtension(12, 70)}));
    EXPECT_EQ((*matrices.Find(matrices.intraChroma))[0], 70) << "the last extension counts";
    EXPECT_EQ((*matrices.Find(matrices.nonIntraChroma))[0], 70);
}

}  // namespace
}  // namespace Vexmora::Test
