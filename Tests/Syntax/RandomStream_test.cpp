// Random frame and field pictures, each decoded from the references of independent decoders and held against
// theirs.
#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "Syntax/RandomStream.h"
#include "Syntax/Rival.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

// The lines that a picture writes: of a frame, of its top or of its bottom field.
bool HasLine(unsigned inPictureStructure, std::size_t inLine) {
    return inPictureStructure == 3 || inLine % 2 == inPictureStructure - 1;
}

class RandomStreams : public testing::TestWithParam<StreamPlan> {
  protected:
    void SetUp() override {
        Features features;
        mStream = MakeRandomStream(GetParam(), SyntaxSeed(), features);
        mLayout = {mStream.sequence.width, mStream.sequence.height};
        std::string folder = (fs::temp_directory_path() / "vexmora_syntax_XXXXXX").string();
        mFolder = mkdtemp(folder.data());
        mMedia = mFolder / "random.m2v";
        WriteAll(mMedia, mStream.All());
    }
    void TearDown() override { fs::remove_all(mFolder); }

    struct References {
        FramePlanes forward{};
        FramePlanes backward{};
        FramePlanes output{};
    };
    using Decode = std::function<Vexmora_Status(const RandomStream::Picture&, const References&)>;

    // Decodes every picture from what inFrames has for its references, and compares it with what they have.
    void CompareEach(const Samples& inFrames, const Decode& inDecode);
    Picture420 FrameOf(const Samples& inFrames, unsigned inNumber) const {
        Picture420 picture = mLayout.NewPicture();
        mLayout.VisitRows(picture, inNumber * mLayout.SampleCount(),
                          [&](std::size_t, std::uint8_t* outRow, std::size_t inSample, std::size_t inCount) {
                              std::copy_n(inFrames.begin() + static_cast<std::ptrdiff_t>(inSample), inCount,
                                          outRow);
                          });
        return picture;
    }
    // Only the first field of a frame is there when the second one is decoded.
    void ForgetLines(Picture420& ioPicture, unsigned inPictureStructure) const {
        mLayout.VisitRows(ioPicture, 0,
                          [&](std::size_t inLine, std::uint8_t* outRow, std::size_t, std::size_t inCount) {
                              if (HasLine(inPictureStructure, inLine)) std::fill_n(outRow, inCount, 0x55);
                          });
    }

    RandomStream mStream;
    FrameLayout mLayout;
    fs::path mFolder;
    fs::path mMedia;
};

void RandomStreams::CompareEach(const Samples& inFrames, const Decode& inDecode) {
    std::map<unsigned, Picture420> references;
    unsigned past = 0;
    unsigned future = 0;
    for (std::size_t i = 0; i < mStream.pictures.size(); ++i) {
        const PictureSyntax& syntax = mStream.pictures[i].syntax;
        const unsigned number = syntax.temporal_reference;
        if (syntax.picture_coding_type != kPictureTypeB && !syntax.isSecondField) {
            past = future;
            future = number;
            references.emplace(number, FrameOf(inFrames, number));
        }
        Picture420 output = FrameOf(inFrames, number);
        ForgetLines(output, syntax.isSecondField ? syntax.picture_structure : 3);
        References planes;
        if (i > 1 || (i == 1 && !syntax.isSecondField)) planes.forward = references.at(past).Planes();
        planes.backward = references.at(future).Planes();
        planes.output = output.Planes();
        ASSERT_EQ(inDecode(mStream.pictures[i], planes), Vexmora_Ok) << "picture " << i;

        int largest = 0;
        std::size_t different = 0;
        std::size_t count = 0;
        mLayout.VisitRows(
            output, number * mLayout.SampleCount(),
            [&](std::size_t inLine, std::uint8_t* inRow, std::size_t inSample, std::size_t inCount) {
                if (!HasLine(syntax.picture_structure, inLine)) return;
                for (std::size_t x = 0; x < inCount; ++x) {
                    const int d = std::abs(inRow[x] - inFrames[inSample + x]);
                    largest = std::max(largest, d);
                    different += d != 0;
                }
                count += inCount;
            });
        std::printf("%zu: type %u structure %u: %d, %.5f\n", i, syntax.picture_coding_type,
                    syntax.picture_structure, largest,
                    static_cast<double>(different) / static_cast<double>(count));
        EXPECT_LE(largest, 1) << "picture " << i << ", type " << syntax.picture_coding_type << ", structure "
                              << syntax.picture_structure << ", frame " << number;
    }
}

class BufferInstance {
  public:
    explicit BufferInstance(const Bytes& inHeaders) : mHeaders(inHeaders) {
        Vexmora_Startup();
        EXPECT_EQ(Vexmora_OpenBufferInstance(mHost.Services(), 1 << 20, &mHandle, &mBuffer), Vexmora_Ok);
    }
    ~BufferInstance() {
        Vexmora_CloseFile(mHandle);
        Vexmora_Shutdown();
    }
    BufferInstance(const BufferInstance&) = delete;
    BufferInstance& operator=(const BufferInstance&) = delete;

    template <class References>
    Vexmora_Status Decode(const RandomStream::Picture& inPicture, const References& inReferences) {
        const Bytes data = Join({std::exchange(mHeaders, {}), inPicture.bytes});
        std::memcpy(mBuffer, data.data(), data.size());
        return Vexmora_GetFrameFromBuffer(mHandle, static_cast<std::uint32_t>(data.size()),
                                          inPicture.syntax.picture_coding_type, &inReferences.forward,
                                          &inReferences.backward, &inReferences.output, 0, 0);
    }

  private:
    const ExactHost mHost;
    Bytes mHeaders;
    Vexmora_Handle mHandle = nullptr;
    std::uint8_t* mBuffer = nullptr;
};

TEST_P(RandomStreams, AreDecodedFromABufferAsByFfmpeg) {
    const Samples frames = RunFfmpeg(mMedia, "faani");
    ASSERT_EQ(frames.size() % mLayout.SampleCount(), 0u);
    BufferInstance instance(mStream.headers);
    CompareEach(frames, [&](const auto& inPicture, const References& inReferences) {
        return instance.Decode(inPicture, inReferences);
    });
}

TEST_P(RandomStreams, AreDecodedFromABufferAsByMpeg2dec) {
    const Samples frames = RunMpeg2dec(mMedia, mLayout);
    BufferInstance instance(mStream.headers);
    CompareEach(frames, [&](const auto& inPicture, const References& inReferences) {
        return instance.Decode(inPicture, inReferences);
    });
}

TEST_P(RandomStreams, AreDecodedFromAFileAsByFfmpeg) {
    if (GetParam().HasFields()) GTEST_SKIP();
    const Samples frames = RunFfmpeg(mMedia, "faani");
    DecodeChain chain(mMedia);
    CompareEach(frames, [&](const RandomStream::Picture& inPicture, const References& inReferences) {
        return Vexmora_GetFrame(chain.Handle(),
                                static_cast<std::int32_t>(inPicture.syntax.temporal_reference),
                                &inReferences.forward, &inReferences.backward, &inReferences.output, 0, 0);
    });
}

INSTANTIATE_TEST_SUITE_P(Plans, RandomStreams, testing::ValuesIn(kStreamPlans),
                         [](const auto& inInfo) { return std::string(inInfo.param.name); });

}  // namespace
}  // namespace Vexmora::Test
