// Every frame of real encoders' streams, held against an independent decoder.
#include <gtest/gtest.h>

#include <algorithm>

#include "Decoding/DecodeChain.h"
#include "Decoding/Ffmpeg.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;
class RealStreams : public testing::TestWithParam<const char*> {
  protected:
    fs::path Media() const { return fs::path(VEXMORA_STREAM_DIR) / GetParam(); }
};

// Both transforms of the other decoder meet the accuracy of the standard; ours is nearer to the exact one.
TEST_P(RealStreams, EveryFrameIsThatOfAnIndependentDecoder) {
    const std::vector<Samples> expected = RunFfmpeg({{Media(), "faani"}, {Media(), "simple"}});
    const Samples& exact = expected[0];
    const Samples& integer = expected[1];
    ASSERT_EQ(exact.size(), integer.size());
    DecodeChain chain(Media());
    ASSERT_NE(chain.Handle(), nullptr);
    const IndexHeader& header = chain.Header();
    const std::size_t frameBytes = Visible(chain.NewPicture(), chain.Info()).size();
    // The other decoder does not show what precedes the first I picture of a stream that begins in the
    // middle.
    const std::size_t count = exact.size() / frameBytes;
    const std::size_t first = header.lastFrame + 1 - count;
    ASSERT_EQ(exact.size(), frameBytes * count);
    ASSERT_GE(first, header.firstFrame);
    ASSERT_LE(first, header.firstFrame + 2);

    double ours = 0;
    double theirs = 0;
    int largest = 0;
    for (std::size_t frame = first; frame <= header.lastFrame; ++frame) {
        const auto& decoded = chain.Frame(static_cast<std::int32_t>(frame));
        ASSERT_EQ(decoded.status, Vexmora_Ok) << frame;
        const std::size_t offset = (frame - first) * frameBytes;
        const Difference difference =
            Compare(Visible(decoded.picture, chain.Info()).data(), exact.data() + offset, frameBytes);
        if (frame == first) {
            EXPECT_LE(difference.largest, 1) << "I picture";
        }
        ours += difference.meanSquare;
        largest = std::max(largest, difference.largest);
        theirs += Compare(integer.data() + offset, exact.data() + offset, frameBytes).meanSquare;
    }
    EXPECT_LE(ours, theirs) << "mean square error of all frames; largest difference " << largest;
    RecordProperty("meanSquareError", std::to_string(ours));
}

INSTANTIATE_TEST_SUITE_P(Streams, RealStreams,
                         testing::Values("intra-176x144.m2v", "ip-64x48.m2v", "b1-100x76.m2v",
                                         "b2-open-352x288.m2v", "b3-closed-352x240.m2v", "jumps-320x180.m2v",
                                         "top-720x576.m2v", "bottom-720x480.m2v", "pulldown-352x256.m2v",
                                         "enc-top-352x288.m2v", "enc-bottom-352x256.m2v",
                                         "enc-progressive.m2v", "odd-up-352x240.m2v", "odd-down-720x496.m2v",
                                         "hd-1920x1080.m2v", "narrow-1x64.m2v", "wide-4095x32.m2v",
                                         "flat-160x16.m2v", "tall-32x2800.m2v", "started-open.m2v",
                                         "packed-64x48.vob", "dvd-720x576.vob", "small-100x76.mpg",
                                         "mplex-dvd.vob", "mplex-generic.mpg", "mp2-720x576.ts",
                                         "b3-100x76.ts", "ac3-closed-352x240.ts", "started-open.ts"),
                         [](const auto& inInfo) {
                             std::string name = inInfo.param;
                             for (char& c : name) {
                                 if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
                             }
                             return name;
                         });

}  // namespace
}  // namespace Vexmora::Test
