// Random frame and field pictures, each decoded from the references of independent decoders and held against
// theirs.
#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "Decoding/CodedVideo.h"
#include "Decoding/OtherDecoders.h"
#include "Syntax/RandomStream.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

// The part of the samples that rounding in the inverse transforms may make different. Without mismatch
// control it is several times as much.
constexpr double kMostDifferent = 0.015;

// The lines that a picture writes: of a frame, of its top or of its bottom field.
bool HasLine(unsigned inPictureStructure, std::size_t inLine) {
    return inPictureStructure == 3 || inLine % 2 == inPictureStructure - 1;
}

class RandomStreams : public testing::TestWithParam<StreamPlan> {
  protected:
    void SetUp() override {
        Features features;
        mStream = MakeRandomStream(GetParam(), SyntaxSeed(), features);
        mLayout = LayoutAt(Scale::Full);
        WriteAll(mMedia, mStream.All());
        Vexmora_Startup();
    }
    void TearDown() override { Vexmora_Shutdown(); }

    struct References {
        FramePlanes forward{};
        FramePlanes backward{};
        FramePlanes output{};
    };
    using Decode = std::function<Vexmora_Status(const RandomStream::Picture&, const References&)>;

    /// Decodes a picture, the first one with its headers.
    Vexmora_Status DecodeFromBuffer(BufferInstance& ioInstance, const RandomStream::Picture& inPicture,
                                    const References& in) const {
        const bool isFirst = &inPicture == &mStream.pictures.front();
        return ioInstance.Decode(isFirst ? Join({mStream.headers, inPicture.bytes}) : inPicture.bytes,
                                 inPicture.syntax.picture_coding_type, in.forward, in.backward, in.output);
    }
    // Decodes every picture from what inFrames has for its references, and compares it with what they have.
    void CompareEach(const Samples& inFrames, const Decode& inDecode);
    /// The visible samples of all frames, decoded into planes full of inFill.
    std::vector<Samples> AllFrames(Scale inScale, std::uint8_t inFill) {
        const PlaneLayout layout = LayoutAt(inScale);
        BufferInstance instance(mHost.Services(), inScale);
        std::map<unsigned, Picture420> frames;
        unsigned past = 0;
        unsigned future = 0;
        for (const RandomStream::Picture& picture : mStream.pictures) {
            const unsigned number = picture.syntax.temporal_reference;
            if (picture.syntax.picture_coding_type != kPictureTypeB && !picture.syntax.isSecondField) {
                past = future;
                future = number;
            }
            frames.try_emplace(number, layout, inFill);
            const References planes{frames.at(past).Planes(), frames.at(future).Planes(),
                                    frames.at(number).Planes()};
            EXPECT_EQ(DecodeFromBuffer(instance, picture, planes), Vexmora_Ok) << number;
        }
        std::vector<Samples> visible;
        for (const auto& [number, frame] : frames) visible.push_back(Visible(frame, layout));
        return visible;
    }
    PlaneLayout LayoutAt(Scale inScale) const {
        return PlaneLayoutOf(mStream.sequence.width, mStream.sequence.height, inScale);
    }
    std::size_t FrameSamples() const { return std::size_t{mLayout.width} * mLayout.height * 3 / 2; }
    const std::uint8_t* SamplesOf(const Samples& inFrames, unsigned inNumber) const {
        return inFrames.data() + inNumber * FrameSamples();
    }

    const TestHost mHost;
    RandomStream mStream;
    PlaneLayout mLayout;
    const TemporaryFolder mFolder;
    const fs::path mMedia = mFolder / "random.m2v";
};

void RandomStreams::CompareEach(const Samples& inFrames, const Decode& inDecode) {
    const auto frameCount = static_cast<std::size_t>(
        std::count_if(mStream.pictures.begin(), mStream.pictures.end(),
                      [](const RandomStream::Picture& in) { return !in.syntax.isSecondField; }));
    ASSERT_EQ(inFrames.size(), frameCount * FrameSamples());
    std::map<unsigned, Picture420> references;
    unsigned past = 0;
    unsigned future = 0;
    for (std::size_t i = 0; i < mStream.pictures.size(); ++i) {
        const PictureSyntax& syntax = mStream.pictures[i].syntax;
        const unsigned number = syntax.temporal_reference;
        if (syntax.picture_coding_type != kPictureTypeB && !syntax.isSecondField) {
            past = future;
            future = number;
            references.emplace(number, PictureOf(SamplesOf(inFrames, number), mLayout));
        }
        const std::uint8_t* const theirs = SamplesOf(inFrames, number);
        Picture420 output = PictureOf(theirs, mLayout);
        ForEachRow(output, mLayout, [&](std::size_t inLine, std::uint8_t* outRow, std::size_t inCount) {
            // Only the first field of a frame is there when the second one is decoded.
            if (!syntax.isSecondField || HasLine(syntax.picture_structure, inLine))
                std::fill_n(outRow, inCount, 0x55);
        });
        References planes;
        if (i > 1 || (i == 1 && !syntax.isSecondField)) planes.forward = references.at(past).Planes();
        planes.backward = references.at(future).Planes();
        planes.output = output.Planes();
        ASSERT_EQ(inDecode(mStream.pictures[i], planes), Vexmora_Ok) << "picture " << i;

        int largest = 0;
        std::size_t different = 0;
        std::size_t count = 0;
        const std::uint8_t* their = theirs;
        ForEachRow(output, mLayout, [&](std::size_t inLine, const std::uint8_t* inRow, std::size_t inCount) {
            for (std::size_t x = 0; x < inCount; ++x, ++their) {
                if (!HasLine(syntax.picture_structure, inLine)) continue;
                const int d = std::abs(inRow[x] - *their);
                largest = std::max(largest, d);
                different += d != 0;
                ++count;
            }
        });
        const std::string what =
            "picture " + std::to_string(i) + ", type " + std::to_string(syntax.picture_coding_type) +
            ", structure " + std::to_string(syntax.picture_structure) + ", frame " + std::to_string(number);
        EXPECT_LE(largest, 1) << what;
        EXPECT_LE(static_cast<double>(different), kMostDifferent * static_cast<double>(count)) << what;
    }
}

// What the generator writes does not shrink unnoticed: features are kinds of macroblocks, predictions,
// vectors, coefficients and so on.
TEST(FeaturesOfRandomStreams, AreAllThere) {
    Features features;
    for (const StreamPlan& plan : kStreamPlans) MakeRandomStream(plan, SyntaxSeed(), features);
    EXPECT_GE(features.Kinds(), 869u);
}

TEST_P(RandomStreams, ArePredictedAndDecodedAsByOtherDecoders) {
    const auto fromBuffer =
        [this, instance = std::make_shared<BufferInstance>(mHost.Services(), Scale::Full)](
            const auto& inPicture, const auto& in) { return DecodeFromBuffer(*instance, inPicture, in); };
    const Samples byMpeg2dec = RunMpeg2dec(mMedia, mLayout.width, mLayout.height, "-c");
    CompareEach(byMpeg2dec, fromBuffer);
    // Which does not saturate coefficients (7.4.3).
    if (!GetParam().saturates) CompareEach(RunFfmpeg({{mMedia, "faani"}}).front(), fromBuffer);
    // On all processors, where slices fill their rows. Streams of field pictures have no index.
    if (GetParam().HasFields()) return;
    const DecodeChain chain(mMedia);
    ASSERT_NE(chain.Handle(), nullptr);
    CompareEach(byMpeg2dec, [&](const auto& inPicture, const References& in) {
        return Vexmora_GetFrame(chain.Handle(),
                                static_cast<std::int32_t>(inPicture.syntax.temporal_reference), &in.forward,
                                &in.backward, &in.output, 0, 0);
    });
}

// Every visible sample is written, by what the references and the stream say: at each scale, the frames are
// the same whatever the planes held before. The planes have no byte to spare.
TEST_P(RandomStreams, DependOnNothingElseAtAnyScale) {
    for (const Scale scale : kScales) EXPECT_EQ(AllFrames(scale, 0), AllFrames(scale, 255)) << NameOf(scale);
}

INSTANTIATE_TEST_SUITE_P(AllPlans, RandomStreams, testing::ValuesIn(kStreamPlans),
                         [](const auto& inInfo) { return inInfo.param.name; });

}  // namespace
}  // namespace Vexmora::Test
