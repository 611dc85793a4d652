// Indexing buffers of arbitrary bytes: the index is the same however the bytes are divided and whatever the
// processor variant, and it does not contradict itself.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "IndexSense.h"

namespace Vexmora::Test {
namespace {

// Elementary streams are handed over in pieces, whose ends cut the skips that PES headers in them ask for.
bool HasPesHeader(const Bytes& inStream) {
    return !StartCodes(inStream, 0xC0, 0xC0).empty() || !StartCodes(inStream, 0xE0, 0xE0).empty();
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    constexpr std::size_t kLeastBuffer = 33;  // for the same index
    const std::uint8_t flags = ioChoices.Byte();
    const Way way = WayOf(ioChoices.Below(kWays));
    const Chosen chosen = (flags & 1) != 0 ? Chosen::Transport : Chosen::ByFirstBytes;
    const bool hasShortBuffers = (flags & 2) != 0;
    const std::size_t least = hasShortBuffers ? 1 : kLeastBuffer;
    const std::size_t largest = least + ((flags & 4) != 0 ? ioChoices.Byte() : ioChoices.Word());
    const std::uint32_t seed = ioChoices.Word();
    const Bytes stream = ioChoices.Rest();
    if (stream.size() < 5) return;

    const auto indexIn = [&](const Way& inWay, const std::vector<std::size_t>& inCuts) {
        const WorkingIn working(inWay);
        return Index(stream, inCuts, chosen);
    };
    const IndexResult whole = indexIn({}, {});
    const IndexResult divided = indexIn(way, RandomCuts(stream.size(), least, largest, seed));
    ExpectSense(whole);
    ExpectSense(divided);
    const bool isElementary = chosen == Chosen::ByFirstBytes && stream[0] == 0 && stream[3] == 0xB3;
    EXPECT_TRUE(divided == whole || hasShortBuffers || (isElementary && HasPesHeader(stream)));
}

}  // namespace Vexmora::Test
