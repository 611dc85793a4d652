// Streams made for the sake of their coding tools: every frame against two independent decoders.
//
// One step: a picture decoded from the other decoder's own references may be 1 off in a sample, because the
// standard leaves that much to the inverse transform. Whole chain: from our own references, the error against
// a decoder with a transform of double precision may be half as large again as the least of the decoders with
// integer transforms.
#include <gtest/gtest.h>

#include <cstdio>
#include <list>
#include <set>

#include "Decoding/WholePictures.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

constexpr int kOneStepLimit = 1;
constexpr double kWholeChainLimit = 1.5;

std::set<fs::path> Streams(const std::string& inPrefix) {
    std::set<fs::path> streams;
    for (const auto& entry : fs::directory_iterator(fs::path(VEXMORA_STREAM_DIR) / "tools")) {
        const fs::path& path = entry.path();
        if (path.extension() == ".m2v" && path.filename().string().starts_with(inPrefix))
            streams.insert(path);
    }
    return streams;
}

std::int32_t FrameNumber(const DecodeChain& inChain, std::size_t inFrame) {
    return static_cast<std::int32_t>(inChain.Header().firstFrame + inFrame);
}

/// The largest difference from any sample of the other decoder's coded pictures, each from its references.
int OneStep(DecodeChain& ioChain, const WholePictures& inTheirs) {
    const FileInfo whole = inTheirs.Whole(ioChain.Info());
    int largest = 0;
    for (std::size_t frame = 0; frame < inTheirs.FrameCount(); ++frame) {
        std::list<Picture420> references;
        const auto theirPlanes = [&](std::int32_t in) {
            references.push_back(ioChain.NewPicture());
            SetVisible(inTheirs.Frame(static_cast<std::uint32_t>(in) - ioChain.Header().firstFrame), whole,
                       references.back());
            return references.back().Planes();
        };
        Picture420 ours = ioChain.NewPicture();
        EXPECT_EQ(DecodeFrame(ioChain.Handle(), FrameNumber(ioChain, frame), kFullSize, theirPlanes, ours),
                  Vexmora_Ok);
        const Difference difference =
            Compare(Visible(ours, whole).data(), inTheirs.Frame(frame), inTheirs.FrameBytes());
        EXPECT_LE(difference.largest, kOneStepLimit)
            << "frame " << frame << " with " << references.size() << " references";
        largest = std::max(largest, difference.largest);
    }
    return largest;
}

/// The visible pictures of a video, frame after frame.
Samples VisibleFrames(const WholePictures& inVideo, const DecodeChain& inChain) {
    Samples samples;
    Picture420 picture = inChain.NewPicture();
    for (std::size_t frame = 0; frame < inVideo.FrameCount(); ++frame) {
        SetVisible(inVideo.Frame(frame), inVideo.Whole(inChain.Info()), picture);
        const Samples visible = Visible(picture, inChain.Info());
        samples.insert(samples.end(), visible.begin(), visible.end());
    }
    return samples;
}

Samples OurFrames(DecodeChain& ioChain) {
    Samples samples;
    for (std::size_t frame = 0; frame < ioChain.Header().recordCount; ++frame) {
        const auto& decoded = ioChain.Frame(FrameNumber(ioChain, frame));
        EXPECT_EQ(decoded.status, Vexmora_Ok) << frame;
        const Samples visible = Visible(decoded.picture, ioChain.Info());
        samples.insert(samples.end(), visible.begin(), visible.end());
    }
    return samples;
}

class Exactness : public testing::TestWithParam<const char*> {};

TEST_P(Exactness, OneStepAndWholeChain) {
    const std::set<fs::path> streams = Streams(std::string(GetParam()) + '-');
    ASSERT_GE(streams.size(), 3u);
    std::printf("%-24s %6s | one step: faani mpeg2dec | whole chain: ours %8s %8s %8s ratio\n", "stream",
                "frames", "simple", "xvid", "mpeg2dec");
    for (const fs::path& media : streams) {
        SCOPED_TRACE(media.filename().string());
        const DeclaredWhole declaredWhole(media);
        const std::vector<Samples> decoded = RunFfmpeg({{declaredWhole.Path(), "faani"},
                                                        {declaredWhole.Path(), "simple"},
                                                        {declaredWhole.Path(), "xvid"},
                                                        {media, "faani"}});
        const WholePictures exact = declaredWhole.Whole(decoded[0]);
        const WholePictures mpeg2dec = declaredWhole.ByMpeg2dec();
        DecodeChain chain(media);
        ASSERT_NE(chain.Handle(), nullptr);
        ASSERT_EQ(exact.FrameCount(), chain.Header().recordCount);
        ASSERT_EQ(mpeg2dec.FrameCount(), exact.FrameCount());
        const Samples visible = VisibleFrames(exact, chain);
        ASSERT_TRUE(visible == decoded[3]) << "the size that is declared changes no visible sample";

        const int step = OneStep(chain, exact);
        const int otherStep = OneStep(chain, mpeg2dec);
        const auto error = [&](const Samples& inSamples) {
            EXPECT_EQ(inSamples.size(), visible.size());
            return Compare(inSamples.data(), visible.data(), visible.size()).meanSquare;
        };
        const double ours = error(OurFrames(chain));
        const double simple = error(VisibleFrames(declaredWhole.Whole(decoded[1]), chain));
        const double xvid = error(VisibleFrames(declaredWhole.Whole(decoded[2]), chain));
        const double other = error(VisibleFrames(mpeg2dec, chain));
        const double nearest = std::min({simple, xvid, other});
        std::printf("%-24s %6zu | %15d %8d | %17.5f %8.5f %8.5f %8.5f %5.2f\n", media.stem().c_str(),
                    exact.FrameCount(), step, otherStep, ours, simple, xvid, other,
                    nearest > 0 ? ours / nearest : 0);
        EXPECT_LE(ours, kWholeChainLimit * nearest);
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Exactness,
                         testing::Values("gop", "quant", "motion", "field", "size", "enc", "encfield",
                                         "joined", "same"),
                         [](const auto& inInfo) { return inInfo.param; });

}  // namespace
}  // namespace Vexmora::Test
