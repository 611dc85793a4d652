// Every picture of every stream made by real encoders, against the elementary stream that ffmpeg extracts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "Splitter/PictureSource.h"

namespace Vexmora::Test {
namespace {

constexpr std::uint32_t kLargeCapacity = 8 << 20;

std::vector<std::filesystem::path> StreamPaths() {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(VEXMORA_STREAM_DIR)) {
        const std::string extension = entry.path().extension().string();
        const bool isStream =
            extension == ".m2v" || extension == ".vob" || extension == ".mpg" || extension == ".ts";
        if (isStream && !entry.path().filename().string().starts_with("refused-"))
            paths.push_back(entry.path());
    }
    EXPECT_FALSE(paths.empty());
    return paths;
}

Bytes ElementaryStream(const std::filesystem::path& inPath, const PlatformFolder& inFolder) {
    if (inPath.extension() == ".m2v") return Test::ReadAll(inPath);
    const std::string output = inFolder.Native("video.m2v");
    const std::string command = "ffmpeg -v error -nostdin -y -i '" + inPath.string() +
                                "' -map 0:v:0 -c copy -f mpeg2video '" + output + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return Test::ReadAll(output);
}

bool EndsWithPictureStartCode(const Bytes& inBytes) {
    return inBytes.size() >= 4 && std::equal(inBytes.end() - 4, inBytes.end(), Bytes{0, 0, 1, 0}.begin());
}

struct Reading {
    std::uint32_t cacheId;
    std::uint32_t capacity;
    std::uint32_t blockSize;
};

std::vector<Delivery> ReadDeliveries(const std::filesystem::path& inPath, const Reading& inReading) {
    CountingHost host;
    PictureSource source(Orvet::PathUtils::FromNative(inPath.string()), host.Services(inReading.cacheId),
                         inReading.capacity, inReading.blockSize);
    EXPECT_EQ(source.splitter.Open(), ReadStatus::Ok);
    return source.Rest();
}

TEST(SplitterRealStreams, DeliverWhatFfmpegExtracts) {
    for (const auto& path : StreamPaths()) {
        SCOPED_TRACE(path);
        const PlatformFolder folder;
        const std::vector<Delivery> all =
            ReadDeliveries(path, {0, kLargeCapacity, BlockReader::kLeastBlockSize});
        EXPECT_EQ(all.back().status, ReadStatus::EndOfData);
        EXPECT_TRUE(Joined(all) == Join({ElementaryStream(path, folder), Bytes(4, 0)}));
        std::size_t largest = 0;
        for (std::size_t index = 0; index + 1 < all.size(); ++index) {
            const Bytes& bytes = all[index].bytes;
            ASSERT_TRUE(EndsWithPictureStartCode(bytes) || bytes.back() == 0xB7);
            EXPECT_LE(StartCodes(bytes).size(), 1U);
            largest = std::max(largest, bytes.size());
        }
        const auto tight = static_cast<std::uint32_t>(std::max(largest, all.back().bytes.size())) + 8193;
        for (const Reading& reading :
             {Reading{0, tight, 4096}, Reading{1, tight, 4099}, Reading{1, kLargeCapacity, 65537}}) {
            EXPECT_TRUE(ReadDeliveries(path, reading) == all) << "blocks of " << reading.blockSize;
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
