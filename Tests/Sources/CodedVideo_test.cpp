// From video bytes to an index and to decoded pictures, held against the library's own way to both.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <utility>

#include "Decoding/Mpeg2dec.h"
#include "Host/PlainDecode.h"
#include "Support/StreamBuilder.h"
#include "Support/TestFiles.h"
#include "Syntax/FrameLayout.h"
#include "Syntax/RandomStream.h"
#include "sources/SourceIndex.h"
#include "sources/SourceMedia.h"
#include "sources/VideoScanner.h"

namespace VexmoraHost {
namespace {

using namespace Vexmora::Test;
using Vexmora::FrameRecord;

CodedVideo Scan(const Bytes& inVideo, const std::vector<std::size_t>& inCuts = {}) {
    VideoScanner scanner;
    std::size_t begin = 0;
    const auto add = [&](std::size_t inEnd) {
        const Bytes piece(inVideo.begin() + static_cast<std::ptrdiff_t>(begin),
                          inVideo.begin() + static_cast<std::ptrdiff_t>(inEnd));
        if (!piece.empty()) scanner.Add({.position = begin, .bytes = piece});
        begin = inEnd;
    };
    for (const std::size_t cut : inCuts) add(cut);
    add(inVideo.size());
    return scanner.Finish();
}

// A picture start code is at position + skip, whatever the cuts.
CodedVideo WithPlainPositions(CodedVideo inVideo) {
    for (CodedFrame& frame : inVideo.frames) frame.position += std::exchange(frame.skip, 0);
    return inVideo;
}

std::vector<std::filesystem::path> Streams(const std::string& inExtension) {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(VEXMORA_STREAM_DIR)) {
        if (entry.path().extension() == inExtension) found.push_back(entry.path());
    }
    return found;
}

TEST(ElementaryStreams, HaveTheIndexOfTheLibrary) {
    int compared = 0;
    for (const auto& path : Streams(".m2v")) {
        const Bytes stream = ReadAll(path);
        IndexResult expected = Index(stream);
        const CodedVideo video = Scan(stream);
        if (expected.done != Vexmora_Ok) continue;  // MPEG-1 video, field pictures
        ++compared;
        auto made = MakeSourceIndex(video, Packaging::Kind::Elementary, stream.size(), {});
        ASSERT_EQ(made.index.records.size(), expected.records.size()) << path;
        for (std::size_t i = 0; i < expected.records.size(); ++i) {
            made.index.records[i].size = expected.records[i].size;
            EXPECT_EQ(made.index.records[i], expected.records[i]) << path << i;
        }
        made.index.header.maxPictureSize = expected.header.maxPictureSize;
        EXPECT_EQ(made.index.header, expected.header) << path;
        for (const auto& cuts : {FixedCuts(stream.size(), 184), RandomCuts(stream.size(), 1, 9, 1)}) {
            EXPECT_EQ(WithPlainPositions(Scan(stream, cuts)), WithPlainPositions(video)) << path;
        }
    }
    EXPECT_GT(compared, 20);
}

// Reads a stream that is in memory, in blocks.
class MemoryReader : public VideoReader {
  public:
    explicit MemoryReader(const Bytes& inVideo) : mVideo(inVideo) {}
    void Seek(std::uint64_t inPosition) override { mAt = inPosition; }
    bool Next(VideoPiece& outPiece) override {
        const std::size_t size = std::min(mVideo.size() - mAt, kBlock - mAt % kBlock);
        outPiece = {.position = mAt, .bytes = std::span(mVideo).subspan(mAt, size)};
        mAt += size;
        return size > 0;
    }
    static constexpr std::size_t kBlock = 1000;

  private:
    const Bytes& mVideo;
    std::size_t mAt = 0;
};

// A stream in memory with all that is made of it.
struct MemorySource {
    explicit MemorySource(Bytes inStream)
        : stream(std::move(inStream)), video(Scan(stream, FixedCuts(stream.size(), MemoryReader::kBlock))) {}

    FrameSource Source(FrameCache& ioCache, Memory& ioMemory) {
        const auto count = static_cast<std::uint32_t>(index.index.records.size());
        return {*reader, media, index.index.records, missing, 0, count, 1, ioCache, ioMemory};
    }

    const Library library;
    const Bytes stream;
    const CodedVideo video;
    const SourceIndex index = MakeSourceIndex(video, Packaging::Kind::Elementary, stream.size(), {});
    const SourceMedia media{[this] { return std::make_unique<MemoryReader>(stream); }, video, index};
    const MissingAnchors missing{index.index.records};
    const std::unique_ptr<PictureReader> reader = media.OpenReader();
};

TEST(ElementaryStreams, HaveThePicturesOfTheLibrary) {
    for (const char* const name : {"b2-open-352x288.m2v", "pulldown-352x256.m2v", "ip-64x48.m2v"}) {
        const std::filesystem::path path = std::filesystem::path(VEXMORA_STREAM_DIR) / name;
        IndexedFile plain(path);
        MemorySource source(ReadAll(path));
        Memory memory;
        FrameCache cache{1 << 20};
        for (const auto scale : VexmoraHost::kScales) {
            FrameDecoder decoder(source.Source(cache, memory), scale);
            for (std::uint32_t frame = 0; frame < plain.AllRecords().size(); ++frame) {
                const SharedPicture picture = decoder.Frame(frame);
                EXPECT_TRUE(picture->damage.None()) << name << frame;
                EXPECT_EQ(SamplesOf(*picture), plain.Plain(static_cast<std::int32_t>(frame), scale))
                    << name << frame;
            }
        }
    }
}

class RandomSources : public testing::TestWithParam<StreamPlan> {};

// From an independent decoder's references, backwards: matrices of other frames must not stay in force.
TEST_P(RandomSources, EachFrameIsDecoded) {
    Features features;
    const RandomStream stream = MakeRandomStream(GetParam(), SyntaxSeed(), features);
    const FrameLayout layout{stream.sequence.width, stream.sequence.height};
    MemorySource source(stream.All());
    const TemporaryFolder folder;
    WriteAll(folder / "a.m2v", source.stream);
    const auto expected = RunMpeg2dec(folder / "a.m2v", layout.width, layout.height, "-c");
    const auto count = static_cast<std::int32_t>(source.index.index.records.size());
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(count) * layout.SampleCount());
    const auto frameOf = [&](std::int32_t inRecord) {
        Picture420 picture = layout.NewPicture();
        const auto copy = [&](std::size_t, std::uint8_t* outRow, std::size_t inSample, std::size_t inCount) {
            std::copy_n(expected.begin() + static_cast<std::ptrdiff_t>(inSample), inCount, outRow);
        };
        layout.VisitRows(picture, static_cast<std::size_t>(inRecord) * layout.SampleCount(), copy);
        return picture;
    };
    std::size_t different = 0;
    for (std::int32_t record = count - 1; record >= 0; --record) {
        const FrameRecord& entry = source.index.index.records[static_cast<std::size_t>(record)];
        const std::int32_t pastOfIntra = source.media.PastOfIntra(record);
        Picture420 past = frameOf(pastOfIntra != kNoRecord ? pastOfIntra : record + entry.pastRefDelta);
        Picture420 future = frameOf(record + entry.futureRefDelta);
        Picture420 output = layout.NewPicture();
        const bool hasPast = pastOfIntra != kNoRecord || entry.pastRefDelta != 0;
        ASSERT_EQ(
            source.reader->Decode(record, {hasPast ? past.Planes() : Vexmora::FramePlanes{}, future.Planes()},
                                  output.Planes(), {}),
            Vexmora_Ok);
        const auto compare = [&](std::size_t, const std::uint8_t* inRow, std::size_t inSample,
                                 std::size_t inCount) {
            for (std::size_t x = 0; x < inCount; ++x) {
                different += inRow[x] != expected[inSample + x];
                ASSERT_LE(std::abs(inRow[x] - expected[inSample + x]), 1) << record;
            }
        };
        layout.VisitRows(output, static_cast<std::size_t>(record) * layout.SampleCount(), compare);
    }
    EXPECT_LE(static_cast<double>(different), 0.015 * static_cast<double>(expected.size()));
}

TEST_P(RandomSources, NothingIsMissedAtAnyScale) {
    Features features;
    MemorySource source(MakeRandomStream(GetParam(), SyntaxSeed(), features).All());
    Memory memory;
    FrameCache cache{std::size_t{64} << 20};
    for (const auto scale : VexmoraHost::kScales) {
        FrameDecoder decoder(source.Source(cache, memory), scale);
        for (std::uint32_t frame = 0; frame < source.index.index.records.size(); ++frame) {
            EXPECT_TRUE(decoder.Frame(frame)->damage.None()) << frame;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(AllPlans, RandomSources, testing::ValuesIn(kStreamPlans),
                         [](const auto& in) { return std::string(in.param.name); });

}  // namespace
}  // namespace VexmoraHost
