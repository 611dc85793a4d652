// Sequence and picture headers: what each syntax element changes, every refusal, and what follows the
// headers.
#include <gtest/gtest.h>

#include <sstream>

#include "Mpeg2/CodedBytes.h"

namespace Vexmora::Test {
namespace {

constexpr const char* kRefused = "refused";
const Bytes kUser = {0, 0, 1, 0xB2, 'a', 'b'};

/// Where a syntax element is in the headers.
struct Element {
    std::size_t bit;
    unsigned size;
};
/// An element, the value that it gets, and the words of a description that this changes.
struct Row {
    Element element;
    unsigned value;
    const char* changes;
};

Bytes With(Bytes inHeaders, Element inElement, unsigned inValue) {
    for (std::size_t at = inElement.bit + inElement.size; at-- > inElement.bit; inValue >>= 1) {
        const unsigned mask = 0x80u >> at % 8;
        inHeaders[at / 8] =
            static_cast<std::uint8_t>((inHeaders[at / 8] & ~mask) | ((inValue & 1) != 0 ? mask : 0));
    }
    return inHeaders;
}

/// The words of inText that differ from those of inFrom.
std::string Changes(const std::string& inFrom, const std::string& inText) {
    std::istringstream from(inFrom);
    std::istringstream text(inText);
    std::string before;
    std::string changes;
    for (std::string word; text >> word;) {
        from >> before;
        if (word != before) changes += (changes.empty() ? "" : " ") + word;
    }
    return changes;
}

template <class Describe, class Rows>
void ExpectChanges(const Bytes& inHeaders, const Rows& inRows, const Describe& inDescribe) {
    const std::string plain = inDescribe(inHeaders);
    for (const Row& row : inRows) {
        const std::string text = inDescribe(With(inHeaders, row.element, row.value));
        EXPECT_EQ(text == kRefused ? text : Changes(plain, text), row.changes)
            << row.value << " in bit " << row.element.bit;
    }
}

// ---- Sequence headers ----------------------------------------------------------------------------------

const Sequence kPlain = {.width = 720, .height = 576, .aspect_ratio_information = 3};
const Bytes kSequence = Join({SequenceHeader(kPlain), SequenceExtension(kPlain)});
constexpr Element kWidth{32, 12}, kHeight{44, 12}, kAspectRatio{56, 4}, kFrameRate{60, 4}, kMarker{82, 1};
constexpr Element kIdentifier{128, 4}, kProfileAndLevel{132, 8}, kProgressive{140, 1}, kChromaFormat{141, 2};
constexpr Element kSizeExtensions{143, 4}, kExtensionMarker{159, 1}, kRateN{169, 2}, kRateD{171, 5};

/// Parses inBytes, which begin with a sequence header; what comes next goes to outNext.
std::string DescribeSequence(const Bytes& inBytes, std::int32_t* outNext = nullptr) {
    const CodedBytes coded(inBytes);
    BitReader reader = coded.Reader();
    EXPECT_EQ(reader.NextStartCode(), 0x1B3);
    SequenceParameters parameters;
    if (ParseSequenceHeader(reader, parameters) != DecodeStatus::Ok) {
        EXPECT_EQ(parameters, SequenceParameters{}) << "nothing is written";
        return kRefused;
    }
    if (outNext != nullptr) *outNext = reader.NextStartCode();
    const Vexmora::SequenceHeader& in = parameters.sequence;
    std::ostringstream text;
    text.precision(12);
    text << "size:" << in.horizontalSize << 'x' << in.verticalSize << " shown:" << in.displayWidth << 'x'
         << in.displayHeight << " macroblocks:" << in.mbWidth << 'x' << in.mbHeight
         << " stride:" << in.lumaStride << " aspect:" << in.aspectRatioInformation
         << " progressive:" << in.progressiveSequence << " chroma:" << in.chromaBlocks
         << " extension:" << in.frameRateExtensionN << '/' << in.frameRateExtensionD
         << " rate:" << 1 / in.framePeriod;
    return text.str();
}

TEST(SequenceHeader, EachElementChangesItsFieldsOrIsRefused) {
    EXPECT_EQ(DescribeSequence(kSequence),
              "size:720x576 shown:720x576 macroblocks:45x36 stride:768 aspect:3 progressive:0 chroma:2 "
              "extension:0/0 rate:25");
    const Row rows[] = {
        {kWidth, 1, "size:1x576 shown:1x576 macroblocks:1x36 stride:128"},
        {kHeight, 4095, "size:720x4095 shown:720x4095 macroblocks:45x256"},
        {kAspectRatio, 0, kRefused},
        {kAspectRatio, 14, "aspect:14"},
        {kAspectRatio, 15, kRefused},
        {kFrameRate, 0, "rate:30"},
        {kFrameRate, 1, "rate:23.976023976"},
        {kFrameRate, 2, "rate:24"},
        {kFrameRate, 4, "rate:29.97002997"},
        {kFrameRate, 5, "rate:30"},
        {kFrameRate, 6, "rate:50"},
        {kFrameRate, 7, "rate:59.9400599401"},
        {kFrameRate, 8, "rate:60"},
        {kFrameRate, 9, "rate:30"},
        {kFrameRate, 15, "rate:30"},
        {kMarker, 0, kRefused},
        {kIdentifier, 2, kRefused},
        {kProfileAndLevel, 0x58, kRefused},
        {kProfileAndLevel, 0xD8, kRefused},
        {kProfileAndLevel, 0x59, ""},
        {kProgressive, 1, "progressive:1"},
        {kChromaFormat, 3, "chroma:8"},
        {kSizeExtensions, 4, kRefused},  // wider than 4095
        {kSizeExtensions, 1, kRefused},  // taller
        {kExtensionMarker, 0, kRefused},
        {kRateN, 2, "extension:2/0 rate:75"},
        {kRateD, 4, "extension:0/4 rate:5"},
    };
    ExpectChanges(kSequence, rows, [](const Bytes& in) { return DescribeSequence(in); });
}

TEST(SequenceHeader, PassesOverWhatFollowsToTheNextStartCode) {
    const Bytes display = SequenceDisplayExtension(1440, 480);
    const Bytes colourful = SequenceDisplayExtension(1440, 0x1234, 5, ColourDescription{1, 2, 3});
    const struct {
        Bytes stream;
        const char* changes;
        std::int32_t next;
    } kCases[] = {
        {Join({kSequence, kUser, display, kUser, GopHeader()}), "shown:720x480", 0x1B8},
        {Join({kSequence, colourful, SequenceEnd()}), "shown:720x564", 0x1B7},  // the low 12 bits
        {Join({kSequence, GopHeader(), display}), "", 0x1B8},
        {Join({kSequence, kUser}), "", 0x1B2},  // the last start code is met again
        {SequenceHeader(kPlain), kRefused, 0},  // MPEG-1
        {Join({SequenceHeader(kPlain), GopHeader(), SequenceExtension(kPlain)}), kRefused, 0},
        {Join({SequenceHeader(kPlain), kUser, SequenceExtension(kPlain)}), kRefused, 0},
    };
    const std::string plain = DescribeSequence(kSequence);
    for (const auto& one : kCases) {
        SCOPED_TRACE(&one - kCases);
        std::int32_t next = 0;
        const std::string text = DescribeSequence(one.stream, &next);
        EXPECT_EQ(text == kRefused ? text : Changes(plain, text), one.changes);
        EXPECT_EQ(next, one.next);
    }
}

// ---- Picture headers -----------------------------------------------------------------------------------

const Bytes kSlice = {0, 0, 1, 1, 0x12};
const Bytes kPan = BitWriter().Put(32, 0x1B5).Put(4, 7).Put(34, 0).Put(34, 0).Take();
constexpr Element kFCode[]{{68, 4}, {72, 4}, {76, 4}, {80, 4}};
constexpr Element kStructure{86, 2}, kFrameDct{89, 1}, kRepeat{94, 1};

/// The header behind the picture start code.
Bytes TypedHeader(unsigned inType, unsigned inForward = 3, unsigned inBackward = 5) {
    BitWriter writer;
    writer.Put(10, 77).Put(3, inType).Put(16, 0xFFFF);
    if (inType == 2 || inType == 3) writer.Put(1, 1).Put(3, inForward);
    if (inType == 3) writer.Put(1, 0).Put(3, inBackward);
    return writer.Put(1, 0).Take();
}
const Bytes kCoding = PictureCodingExtension({.frame_pred_frame_dct = false});
Bytes PictureOf(unsigned inType, unsigned inForward = 3, unsigned inBackward = 5) {
    return Join({TypedHeader(inType, inForward, inBackward), kCoding, kSlice});
}

DecodeStatus ParsePicture(const Bytes& inBytes, PictureParameters& outParameters) {
    const CodedBytes coded(inBytes);
    BitReader reader = coded.Reader();
    ReadPictureIdentity(reader, outParameters.picture);
    const DecodeStatus status = ParsePictureHeader(reader, outParameters);
    if (status == DecodeStatus::Ok) {
        EXPECT_EQ(reader.ShowBits(32), 0x101u);
        EXPECT_EQ(reader.ConsumeStartCode(), 0x101u);
    }
    return status;
}

bool IsSound(const Bytes& inPicture) {
    PictureParameters parameters;
    return ParsePicture(inPicture, parameters) == DecodeStatus::Ok;
}

// What the fields are is held by streams of random pictures.
TEST(PictureHeader, IsRefusedForWhatIsNotValid) {
    for (const Bytes& sound : {PictureOf(1), PictureOf(2), PictureOf(3), PictureOf(4),
                               Join({TypedHeader(1), kCoding, kPan, kUser, kSlice}),
                               With(PictureOf(1), kFrameDct, 1), With(PictureOf(1), kRepeat, 1)})
        EXPECT_TRUE(IsSound(sound)) << testing::PrintToString(sound);
    for (const Bytes& refused :
         {PictureOf(0), PictureOf(5), PictureOf(6), PictureOf(7), PictureOf(2, 0), PictureOf(3, 0, 1),
          PictureOf(3, 1, 0), Join({TypedHeader(1), kSlice}), Join({TypedHeader(1), kPan, kSlice}),
          Join({TypedHeader(1), kPan, kCoding, kSlice}), Join({TypedHeader(1), kUser, kCoding, kSlice}),
          With(PictureOf(1), kStructure, 0)})
        EXPECT_FALSE(IsSound(refused)) << testing::PrintToString(refused);
    for (const unsigned field : {1u, 2u}) {
        const Bytes picture = With(PictureOf(1), kStructure, field);
        EXPECT_TRUE(IsSound(picture));
        EXPECT_FALSE(IsSound(With(picture, kFrameDct, 1)) || IsSound(With(picture, kRepeat, 1))) << field;
    }
    for (const Element& element : kFCode) {
        for (unsigned f_code = 0; f_code < 16; ++f_code)
            EXPECT_EQ(IsSound(With(PictureOf(1), element, f_code)),
                      f_code % 15 == 0 ? f_code == 15 : f_code < 10);
    }
}

// Weights are inWeight and one more in turn. Those of luma are also held by whole pictures.
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
    const auto loaded = [&](const Bytes& inExtensions) {
        PictureParameters parameters;
        const Bytes picture = Join({TypedHeader(1), kCoding, kPan, kUser, inExtensions, kPan, kUser, kSlice});
        EXPECT_EQ(ParsePicture(picture, parameters), DecodeStatus::Ok);
        EXPECT_EQ(parameters.loads.IsNone(), inExtensions.empty());
        matrices.Load(parameters.loads);
        std::string weights;  // the second ones of luma and of chroma, intra and not
        for (const MatrixSource source :
             {matrices.intraLuma, matrices.nonIntraLuma, matrices.intraChroma, matrices.nonIntraChroma}) {
            const QuantiserMatrix* const matrix = matrices.Find(source);
            weights += (matrix == nullptr ? "flat" : std::to_string((*matrix)[1])) + ' ';
        }
        return weights;
    };
    EXPECT_EQ(loaded({}), "16 flat 16 flat ");
    EXPECT_EQ(loaded(MatrixExtension(8, 40)), "41 flat 41 flat ");
    EXPECT_EQ(loaded(MatrixExtension(7, 50)), "41 51 51 51 ");
    EXPECT_EQ(loaded({}), "41 51 51 51 ");
    EXPECT_EQ(loaded(Join({MatrixExtension(3, 60), MatrixExtension(12, 70)})), "71 71 71 71 ");
}

}  // namespace
}  // namespace Vexmora::Test
