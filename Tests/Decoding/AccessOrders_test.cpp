// One video gives the same pictures, bit for bit, in any order, packaging and scale, on any number of
// processors, and through a buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <tuple>

#include "Decoding/CodedVideo.h"
#include "Support/Matrices.h"
#include "Support/OneProcessor.h"
#include "Support/Options.h"
#include "Support/StreamBuilder.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;
using Pictures = std::vector<Picture420>;

/// All pictures, decoded in the order given. Those decoded before are forgotten every inKept pictures.
Pictures Decode(const fs::path& inMedia, Scale inScale, const std::vector<std::size_t>& inOrder,
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

/// All pictures of an elementary stream, each cut from it and decoded through a buffer, in coded order.
Pictures DecodeFromBuffer(const fs::path& inMedia, Scale inScale) {
    const Bytes stream = ReadAll(inMedia);
    const std::vector<FrameRecord> records = Index(stream).records;
    std::vector<std::size_t> codedOrder(records.size());
    std::iota(codedOrder.begin(), codedOrder.end(), std::size_t{0});
    std::ranges::sort(codedOrder, {}, [&](std::size_t inFrame) { return records[inFrame].offset; });
    const TestHost host;
    Vexmora_Startup();
    const Pictures decoded = BufferInstance(host.Services(), inScale).DecodeAll(CutIntoPictures(stream));
    Vexmora_Shutdown();
    Pictures pictures = decoded;
    for (std::size_t i = 0; i < decoded.size(); ++i) pictures[codedOrder.at(i)] = decoded[i];
    return pictures;
}

class AccessOrders : public testing::TestWithParam<std::tuple<const char*, Scale>> {};

TEST_P(AccessOrders, GiveTheSamePictures) {
    const auto& [name, scale] = GetParam();
    const bool isJoined = std::string_view(name).starts_with("tools/joined");
    if (kIsSanitized && isJoined) GTEST_SKIP() << "long";
    const fs::path media = fs::path(VEXMORA_STREAM_DIR) / name;
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
    for (const char* extension : {".ts", ".vob"}) {
        fs::path packaged = media;
        packaged.replace_extension(extension);
        if (!media.stem().string().starts_with("same-")) continue;
        EXPECT_TRUE(Decode(packaged, scale, forward, count) == expected) << extension;
    }
    // Joined streams are cut with headers behind a sequence end, where no request may have them.
    if (media.extension() == ".m2v" && !isJoined) {
        EXPECT_TRUE(DecodeFromBuffer(media, scale) == expected) << "buffer";
    }
}

// Each order by a handle that knows nothing, so that the search back ends at other pictures.
TEST(AccessOrdersOfMatrices, GiveTheSamePictures) {
    const TemporaryFolder folder;
    const fs::path media = folder / "matrices.m2v";
    WriteAll(media, AddMatrices(ReadAll(fs::path(VEXMORA_STREAM_DIR) / "b1-100x76.m2v")));
    std::vector<std::size_t> order(Index(ReadAll(media)).records.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const Pictures expected = Decode(media, Scale::Quarter, order, order.size());
    for (unsigned seed = 0; seed < 3; ++seed) {
        seed == 0 ? std::ranges::reverse(order) : std::ranges::shuffle(order, std::mt19937(seed));
        EXPECT_TRUE(Decode(media, Scale::Quarter, order, 1) == expected) << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Videos, AccessOrders,
                         testing::Combine(testing::Values("tools/same-rows.m2v", "tools/same-fields.m2v",
                                                          "tools/same-cut.m2v", "tools/same-enc.m2v",
                                                          "tools/joined-both.m2v", "tools/field-odd-rows.m2v",
                                                          "tools/size-100x76.m2v", "b3-100x76.ts",
                                                          "started-open.ts"),
                                          testing::ValuesIn(kScales)),
                         [](const auto& inInfo) {
                             std::string name = fs::path(std::get<0>(inInfo.param)).stem().string();
                             std::ranges::replace(name, '-', '_');
                             return name + '_' + NameOf(std::get<1>(inInfo.param));
                         });

}  // namespace
}  // namespace Vexmora::Test
