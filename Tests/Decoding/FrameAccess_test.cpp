// What requests for frames answer beside pictures: numbers and records without one, references and planes
// that are not there, pictures that fail, buffer instances.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "Decoding/DecodeChain.h"
#include "Syntax/RandomPicture.h"

namespace Vexmora::Test {
namespace {

constexpr FramePlanes kNoPlanes{};
constexpr Sequence kSequence{.width = 96, .height = 128};

Bytes VideoHeaders() {
    return Join({SequenceHeader(kSequence), SequenceExtension(kSequence)});
}

class FrameAccess : public testing::Test {
  protected:
    FrameAccess() { Vexmora_Startup(); }
    ~FrameAccess() override {
        Vexmora_CloseFile(mHandle);
        Vexmora_Shutdown();
        EXPECT_EQ(mHost.LiveBlocks(), 0);
    }

    Bytes RandomFrame(unsigned inReference, unsigned inType) {
        PictureSyntax picture;
        picture.temporal_reference = inReference;
        picture.picture_coding_type = inType;
        picture.f_code[0] = {3, 3};
        Features unused;
        return WriteRandomPicture(kSequence, picture, {}, mRandom, unused);
    }
    void Open(const Bytes& inVideo, const IndexHeader& inHeader, const std::vector<FrameRecord>& inRecords) {
        WriteAll(mFolder / "media", inVideo);
        ASSERT_EQ(Vexmora_OpenFileWithIndex(ToUtf16(mFolder / "media"), mHost.Services(), inHeader, inRecords,
                                            &mHandle),
                  Vexmora_Ok);
    }
    Vexmora_Status Get(std::int32_t inFrame, const FramePlanes& inForward, const FramePlanes& inBackward) {
        const FramePlanes output = mPicture.Planes();
        return Vexmora_GetFrame(mHandle, inFrame, &inForward, &inBackward, &output, 0, 0);
    }

    Random mRandom{3};
    const TemporaryFolder mFolder;
    TestHost mHost;
    Vexmora_Handle mHandle = nullptr;
    Picture420 mPicture{128 * kSequence.height, 128 * kSequence.height / 2};
};

TEST_F(FrameAccess, EachWayOfNotGettingAPictureHasItsStatus) {
    const Bytes first = RandomFrame(0, 1);
    const Bytes second = RandomFrame(1, 2);
    const Bytes headers = VideoHeaders();
    Bytes video = Join({headers, first, second});
    for (unsigned reference = 2; reference <= 16; ++reference) {
        video = Join({video, RandomFrame(reference, 1)});
    }
    const auto record = [](std::size_t inOffset, std::uint32_t inSize, unsigned inReference,
                           unsigned inType) {
        return FrameRecord{inOffset, inSize, static_cast<std::uint16_t>(inReference | inType << 13), 0, 0, 0};
    };
    IndexHeader header{};
    header.streamKind = kStreamKindElementary;
    header.maxPictureSize = static_cast<std::uint32_t>(video.size());
    const std::vector<FrameRecord> records{
        record(headers.size(), 1, 0, 1),  record(headers.size() + first.size(), 1, 1, 2),
        record(headers.size(), 0, 0, 1),  record(headers.size(), 1, 0, 0),
        record(headers.size(), 1, 15, 1),  // fifteen pictures further on than its record says
        record(headers.size(), 1, 16, 1),
    };
    header.recordCount = static_cast<std::uint32_t>(records.size());
    Open(video, header, records);
    EXPECT_EQ(Get(0, kNoPlanes, kNoPlanes), Vexmora_Ok);
    const Picture420 intra = mPicture;
    EXPECT_NE(intra, Picture420(128 * kSequence.height, 128 * kSequence.height / 2));
    EXPECT_EQ(Get(1, kNoPlanes, kNoPlanes), Vexmora_Ok);
    const Picture420 predicted = std::exchange(mPicture, intra);
    EXPECT_EQ(Get(1, mPicture.Planes(), kNoPlanes), Vexmora_Ok);
    EXPECT_EQ(mPicture, predicted) << "the output stood in for the reference";
    EXPECT_EQ(Get(2, kNoPlanes, kNoPlanes), Vexmora_EmptyRecord);
    EXPECT_EQ(Get(3, kNoPlanes, kNoPlanes), Vexmora_NoCodedPicture);
    EXPECT_EQ(Get(4, kNoPlanes, kNoPlanes), Vexmora_Ok);
    EXPECT_EQ(Get(5, kNoPlanes, kNoPlanes), Vexmora_NoSuchFrame)
        << "not among the sixteen that are looked at";
    EXPECT_EQ(Get(-1, kNoPlanes, kNoPlanes), Vexmora_NoSuchFrame);
    EXPECT_EQ(Get(6, kNoPlanes, kNoPlanes), Vexmora_NoSuchFrame);
    EXPECT_EQ(Vexmora_GetFrame(mHandle, 0, &kNoPlanes, &kNoPlanes, &kNoPlanes, 0, 0),
              Vexmora_NoSequenceHeader)
        << "nowhere to write";
    EXPECT_EQ(Get(0, kNoPlanes, kNoPlanes), Vexmora_Ok);
    EXPECT_EQ(mPicture, intra) << "unharmed by what failed before";
    const FramePlanes output = mPicture.Planes();
    EXPECT_EQ(Vexmora_GetFrameFromBuffer(mHandle, 4, 1, &kNoPlanes, &kNoPlanes, &output, 0, 0),
              Vexmora_Unsupported);
}

// The second macroblock of the first slice cannot be decoded: it is painted, the one before it stays, and the
// row's second slice is decoded.
TEST_F(FrameAccess, AMacroblockInErrorIsRedAtEveryScale) {
    const auto slice = [](unsigned inIncrementBits, unsigned inIncrement) {
        BitWriter writer;
        writer.Put(32, 0x101).Put(5, 8).Put(1, 0);
        writer.Put(inIncrementBits, inIncrement).Put(1, 1);  // an intra macroblock
        for (int block = 0; block < 6; ++block)
            writer.Put(block < 4 ? 3 : 2, block < 4 ? 4 : 0).Put(2, 2);  // grey
        return writer;
    };
    const struct {
        unsigned bits;
        unsigned fault;
    } kFaults[] = {{9, 0b1'00'111111},                      // no macroblock_type
                   {11, 0b000'0000'0001},                   // no macroblock_address_increment
                   {23, 0b0000'0001'000'0000'0001'000'1}};  // 33 and 33 and 1 leave the picture
    std::uint8_t* buffer = nullptr;
    for (const auto& [bits, fault] : kFaults) {
        const Bytes faulty = slice(1, 1).Put(bits, fault).Put(32, ~0u).Take();
        const Bytes picture =
            Join({PictureHeader(0, 1), PictureCodingExtension(), faulty, slice(4, 0b0011).Take(),
                  SequenceEnd()});  // from the fourth macroblock on
        for (const Scale scale : kScales) {
            SCOPED_TRACE(NameOf(scale) + std::string(", ") + std::to_string(fault));
            Vexmora_CloseFile(mHandle);
            ASSERT_EQ(Vexmora_OpenBufferInstance(mHost.Services(), 65536, &mHandle, &buffer), Vexmora_Ok);
            const Bytes data = Join({VideoHeaders(), picture});
            std::memcpy(buffer, data.data(), data.size());
            std::fill(mPicture.luma.begin(), mPicture.luma.end(), 7);
            const FramePlanes output = mPicture.Planes();
            EXPECT_EQ(
                Vexmora_GetFrameFromBuffer(mHandle, static_cast<std::uint32_t>(data.size()), 1, &kNoPlanes,
                                           &kNoPlanes, &output, ModeOf(scale), SubModeOf(scale)),
                Vexmora_NoSuchFrame);
            const std::size_t width = scale == Scale::Full ? 16 : 8;
            const std::size_t height = scale == Scale::Quarter ? 8 : 16;
            EXPECT_EQ(mPicture.luma[width - 1], 128);
            EXPECT_EQ(mPicture.luma[width], 81);
            EXPECT_EQ(mPicture.luma[2 * width - 1], 81);
            EXPECT_EQ(mPicture.luma[2 * width], 7);
            EXPECT_EQ(mPicture.luma[3 * width], 128);
            EXPECT_EQ(mPicture.luma[(height - 1) * 128 + width], 81);
            EXPECT_EQ(mPicture.luma[height * 128 + width], 7);
            EXPECT_EQ(mPicture.cb[width / 2], 90);
            EXPECT_EQ(mPicture.cr[width - 1], 239);
        }
    }
}

TEST_F(FrameAccess, ABufferInstanceTakesAPictureAtATime) {
    std::uint8_t* buffer = nullptr;
    ASSERT_EQ(Vexmora_OpenBufferInstance(mHost.Services(), 65536, &mHandle, &buffer), Vexmora_Ok);
    const FramePlanes output = mPicture.Planes();
    const auto get = [&](const Bytes& inData, unsigned inType, const FramePlanes& inForward) {
        std::memcpy(buffer, inData.data(), inData.size());
        return Vexmora_GetFrameFromBuffer(mHandle, static_cast<std::uint32_t>(inData.size()), inType,
                                          &inForward, &kNoPlanes, &output, 0, 0);
    };
    const Bytes intra = RandomFrame(0, 1);
    const Bytes predicted = RandomFrame(1, 2);
    EXPECT_EQ(get(Join({VideoHeaders(), intra}), 1, kNoPlanes), Vexmora_Ok);
    EXPECT_EQ(get(predicted, 3, output), Vexmora_NoSuchFrame) << "another type";
    EXPECT_EQ(get(predicted, 2, kNoPlanes), Vexmora_NoSuchFrame) << "no reference";
    EXPECT_EQ(get(predicted, 2, output), Vexmora_Ok);
    FileInfo info{};
    EXPECT_EQ(Vexmora_GetFileInfo(mHandle, &info), Vexmora_Ok);
    EXPECT_EQ(info.width, kSequence.width);

    Vexmora_CloseFile(mHandle);
    ASSERT_EQ(Vexmora_OpenBufferInstance(mHost.Services(), 65536, &mHandle, &buffer), Vexmora_Ok);
    EXPECT_EQ(get(intra, 1, kNoPlanes), Vexmora_NoSuchFrame) << "no sequence header";
    EXPECT_EQ(get(Join({VideoHeaders(), intra}), 1, kNoPlanes), Vexmora_Ok) << "in any request";
}

}  // namespace
}  // namespace Vexmora::Test
