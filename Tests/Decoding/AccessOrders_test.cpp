// One video gives the same pictures, bit for bit, in any order, packaging and scale, on any number of
// processors, and through a buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <tuple>

#include "Decoding/DecodeChain.h"
#include "Support/OneProcessor.h"
#include "Support/StreamBuilder.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;
using Pictures = std::vector<Picture420>;

fs::path Stream(const std::string& inName) {
    return fs::path(VEXMORA_STREAM_DIR) / inName;
}

/// All pictures, decoded in the order given. Those decoded before are forgotten every inKept pictures.
Pictures Decode(const fs::path& inMedia, const Scale& inScale, const std::vector<std::size_t>& inOrder,
                std::size_t inKept) {
    DecodeChain chain(inMedia, inScale);
    Pictures pictures(inOrder.size(), chain.NewPicture());
    EXPECT_EQ(chain.Header().lastFrame + 1 - chain.Header().firstFrame, inOrder.size());
    for (std::size_t i = 0; i < inOrder.size(); ++i) {
        if (i % inKept == 0) chain.Forget();
        const auto& decoded = chain.Frame(static_cast<std::int32_t>(chain.Header().firstFrame + inOrder[i]));
        EXPECT_EQ(decoded.status, Vexmora_Ok) << inOrder[i];
        pictures[inOrder[i]] = decoded.picture;
    }
    return pictures;
}

/// Where the picture that begins at inBegin ends: at the next start code that is neither one of its
/// extensions and user data nor of a slice.
std::size_t PictureEnd(const Bytes& inStream, std::size_t inBegin) {
    for (std::size_t at = inBegin + 4; at + 4 <= inStream.size(); ++at) {
        if (inStream[at] != 0 || inStream[at + 1] != 0 || inStream[at + 2] != 1) continue;
        const unsigned code = inStream[at + 3];
        if (code == 0x00 || code == 0xB3 || code == 0xB7 || code == 0xB8) return at;
    }
    return inStream.size();
}

/// All pictures of an elementary stream, each cut from it and decoded through a buffer, in coded order.
/// inLike has planes of the right sizes.
Pictures DecodeFromBuffer(const fs::path& inMedia, const Scale& inScale, const Picture420& inLike) {
    const Bytes stream = ReadAll(inMedia);
    const std::vector<FrameRecord> records = Index(stream).records;
    std::vector<std::size_t> codedOrder(records.size());
    std::iota(codedOrder.begin(), codedOrder.end(), std::size_t{0});
    std::ranges::sort(codedOrder, {}, [&](std::size_t inFrame) { return records[inFrame].offset; });

    const ExactHost host;
    Vexmora_Startup();
    Vexmora_Handle handle = nullptr;
    std::uint8_t* buffer = nullptr;
    EXPECT_EQ(Vexmora_OpenBufferInstance(host.Services(), static_cast<std::uint32_t>(stream.size()) + 8192,
                                         &handle, &buffer),
              Vexmora_Ok);
    Pictures pictures(records.size(), Picture420(static_cast<std::uint32_t>(inLike.luma.size()),
                                                 static_cast<std::uint32_t>(inLike.cb.size())));
    std::size_t begin = 0;  // the first picture takes the headers along
    for (const std::size_t frame : codedOrder) {
        const FrameRecord& record = records[frame];
        const auto reference = [&](std::int8_t inDelta) {
            const auto number = static_cast<std::ptrdiff_t>(frame) + inDelta;
            return inDelta == 0 ? FramePlanes{} : pictures[static_cast<std::size_t>(number)].Planes();
        };
        const FramePlanes past = reference(record.pastRefDelta);
        const FramePlanes future = reference(record.futureRefDelta);
        const FramePlanes output = pictures[frame].Planes();
        if (frame != codedOrder.front()) begin = record.offset;
        const std::size_t size = PictureEnd(stream, record.offset) - begin;
        std::memcpy(buffer, stream.data() + begin, size);
        EXPECT_EQ(
            Vexmora_GetFrameFromBuffer(handle, static_cast<std::uint32_t>(size), PictureCodingType(record),
                                       &past, &future, &output, inScale.mode, inScale.subMode),
            Vexmora_Ok)
            << frame;
    }
    Vexmora_CloseFile(handle);
    Vexmora_Shutdown();
    return pictures;
}

/// A video and the packagings that there are of it.
struct Video {
    const char* name;
    std::vector<std::string> extensions;

    friend void PrintTo(const Video& inVideo, std::ostream* outText) { *outText << inVideo.name; }
};

class AccessOrders : public testing::TestWithParam<std::tuple<Video, Scale>> {};

TEST_P(AccessOrders, GiveTheSamePictures) {
    const auto& [video, scale] = GetParam();
    const fs::path media = Stream(video.name + video.extensions.front());
    std::size_t count = 0;
    {
        const DecodeChain chain(media);
        count = chain.Header().lastFrame + 1 - chain.Header().firstFrame;
    }
    ASSERT_GT(count, 12u);
    std::vector<std::size_t> forward(count);
    std::iota(forward.begin(), forward.end(), std::size_t{0});
    const std::vector<std::size_t> reverse(forward.rbegin(), forward.rend());
    std::vector<std::size_t> random = forward;
    std::ranges::shuffle(random, std::mt19937(1));

    const Pictures expected = Decode(media, scale, forward, count);
    EXPECT_TRUE(Decode(media, scale, reverse, 5) == expected) << "reverse";
    EXPECT_TRUE(Decode(media, scale, random, 3) == expected) << "random";
    {
        const OneProcessor one;
        EXPECT_TRUE(Decode(media, scale, random, 7) == expected) << "one processor";
    }
    for (const std::string& extension : video.extensions) {
        EXPECT_TRUE(Decode(Stream(video.name + extension), scale, forward, count) == expected) << extension;
    }
    if (media.extension() == ".m2v") {
        EXPECT_TRUE(DecodeFromBuffer(media, scale, expected.front()) == expected) << "buffer";
    }
}

std::string TestName(const testing::TestParamInfo<std::tuple<Video, Scale>>& inInfo) {
    const auto& [video, scale] = inInfo.param;
    std::string name = fs::path(video.name).filename().string();
    std::ranges::replace(name, '-', '_');
    return name + '_' + scale.Name();
}

INSTANTIATE_TEST_SUITE_P(Videos, AccessOrders,
                         testing::Combine(testing::Values(Video{"tools/same-rows", {".m2v", ".ts", ".vob"}},
                                                          Video{"tools/same-fields", {".m2v", ".ts", ".vob"}},
                                                          Video{"tools/same-cut", {".m2v", ".ts", ".vob"}},
                                                          Video{"tools/same-enc", {".m2v", ".ts", ".vob"}},
                                                          Video{"tools/field-odd-rows", {".m2v"}},
                                                          Video{"tools/size-100x76", {".m2v"}},
                                                          Video{"b3-100x76", {".ts"}},
                                                          Video{"started-open", {".ts"}}),
                                          testing::Values(kFullSize, kHalfWidth, kQuarterSize)),
                         TestName);

}  // namespace
}  // namespace Vexmora::Test
