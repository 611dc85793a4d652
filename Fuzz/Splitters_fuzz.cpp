// Splitting files of arbitrary bytes from arbitrary places on: the pictures come to an end, and they are the
// same whatever blocks the file is read in, whether blocks are cached or not and whatever the processor
// variant.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "Splitter/PictureSource.h"

namespace Vexmora::Test {
namespace {

struct Reading {
    std::uint32_t cacheId;
    std::uint32_t blockSize;
};

// What is read of a file, in this order: all of it, if it is to be split, then some pictures from each place.
struct Plan {
    std::uint32_t capacity;
    std::vector<std::int64_t> places;
};
constexpr std::size_t kPicturesFromPlace = 3;

std::vector<Delivery> Read(const UTF16String& inPath, std::size_t inFileSize, const Plan& inPlan,
                           const Reading& inReading) {
    CountingHost host;
    PictureSource source(inPath, host.Services(inReading.cacheId), inPlan.capacity, inReading.blockSize);
    std::vector<Delivery> all = {{source.splitter.Open(), {}}};
    if (all.front().status != ReadStatus::Ok) return all;
    do {
        all.push_back(source.Next());
        EXPECT_LE(all.back().bytes.size(), inPlan.capacity);
        EXPECT_LE(all.size(), inFileSize / 4 + 2) << "each ends with a start code of its own";
    } while (all.back().status == ReadStatus::Ok);
    for (const std::int64_t place : inPlan.places) {
        source.splitter.Seek(place, *source.buffer);
        for (std::size_t i = 0; i < kPicturesFromPlace; ++i) all.push_back(source.Next());
    }
    return all;
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    static const PlatformFolder folder;
    const Way way = WayOf(ioChoices.Below(kWays));
    const std::uint32_t extraBytes = 64u * ioChoices.Byte();
    const Reading reading{1, 4096u + 37 * ioChoices.Byte()};
    Plan plan{(extraBytes % 128 == 0 ? Splitter::kReserve : 16) + extraBytes, {}};
    for (std::size_t count = ioChoices.Below(8); count != 0; --count) {
        const std::uint64_t high = ioChoices.Byte();  // of an index that was damaged
        plan.places.push_back(static_cast<std::int64_t>(high << 56 | ioChoices.Word()));
    }
    const Bytes stream = ioChoices.Rest();
    const UTF16String path = Write(folder, stream);

    const std::vector<Delivery> plain = Read(path, stream.size(), plan, {0, BlockReader::kLeastBlockSize});
    const WorkingIn working(way);
    const std::vector<Delivery> cached = Read(path, stream.size(), plan, reading);
    EXPECT_EQ(cached.size(), plain.size());
    for (std::size_t i = 0; i < plain.size(); ++i) EXPECT_TRUE(cached[i] == plain[i]) << i;
}

}  // namespace Vexmora::Test
