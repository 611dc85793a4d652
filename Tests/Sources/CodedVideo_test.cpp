// From video bytes to an index and to decoded pictures, held against the library's own way to both.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <utility>

#include "Decoding/DecodeChain.h"
#include "Decoding/OtherDecoders.h"
#include "Host/PlainDecode.h"
#include "Support/Options.h"
#include "Support/StreamBuilder.h"
#include "Support/TestFiles.h"
#include "Syntax/RandomStream.h"
#include "sources/SourceIndex.h"
#include "sources/SourceMedia.h"
#include "sources/SourceTables.h"
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

// A recording that the host takes apart, with all that is made of it.
struct Source {
    explicit Source(const std::filesystem::path& inPath) : files({inPath}) {
        VideoScanner scanner;
        VideoPiece piece;
        const auto scan = MakeScanningReader(files, packaging, chosen, account);
        while (scan->Next(piece)) scanner.Add(piece);
        video = scanner.Finish();
        index = MakeSourceIndex(video, packaging.kind, files.Size(), {});
        media.emplace([this] { return MakeRandomReader(files, packaging, account); }, video, index);
        missing.emplace(index.index.records);
        reader = media->OpenReader();
    }
    FrameSource Frames() {
        const auto count = static_cast<std::uint32_t>(index.index.records.size());
        return {*reader, *media, index.index.records, *missing, 0, count, 1, cache, memory};
    }

    const Library library;
    const JoinedFiles files;
    const Packaging packaging = FindPackaging(files);
    const ChosenVideo chosen = ChooseVideo(packaging, {}, {});
    StreamAccount account;
    CodedVideo video;
    SourceIndex index;
    std::optional<SourceMedia> media;
    std::optional<MissingAnchors> missing;
    std::unique_ptr<PictureReader> reader;
    Memory memory;
    FrameCache cache{std::size_t{64} << 20};
};

// The same stream in memory and as a file.
struct RandomSource {
    explicit RandomSource(const RandomStream& inStream)
        : stream(inStream.All()), path(folder / "random.m2v"), source((WriteAll(path, stream), path)) {}

    const Bytes stream;
    const TemporaryFolder folder;
    const std::filesystem::path path;
    Source source;
};

const std::filesystem::path kStreams = VEXMORA_STREAM_DIR;

TEST(RealStreams, HaveTheIndexOfTheLibrary) {
    std::map<std::string, int> compared;
    auto paths = StreamFiles(kStreams);
    for (const auto& path : StreamFiles(kStreams / "tools")) paths.push_back(path);
    for (const auto& path : paths) {
        const Bytes stream = ReadAll(path);
        IndexResult expected = Index(stream);
        if (expected.done != Vexmora_Ok) continue;  // MPEG-1 video, field pictures
        ++compared[path.extension()];
        Source source(path);
        auto& made = source.index.index;
        ASSERT_EQ(made.records.size(), expected.records.size()) << path;
        const bool isElementary = source.packaging.kind == Packaging::Kind::Elementary;
        for (std::size_t i = 0; i < expected.records.size(); ++i) {
            made.records[i].size = expected.records[i].size;
            const CodedFrame* const frame = source.media->FrameOf(static_cast<std::int32_t>(i));
            // The library does not look at extensions in the last 32 bytes.
            if (frame == &source.video.frames.back()) made.records[i].flags = expected.records[i].flags;
            if (!isElementary && made.records[i].size > 0) {
                EXPECT_EQ(frame->position, std::uint64_t{expected.records[i].offset});
                made.records[i].offset = expected.records[i].offset;
            }
            EXPECT_EQ(made.records[i], expected.records[i]) << path << i;
        }
        made.header.maxPictureSize = expected.header.maxPictureSize;
        EXPECT_EQ(made.header, expected.header) << path;
        if (!isElementary) continue;
        for (const auto& cuts : {FixedCuts(stream.size(), 184), RandomCuts(stream.size(), 1, 9, 1)}) {
            EXPECT_EQ(WithPlainPositions(Scan(stream, cuts)), WithPlainPositions(source.video)) << path;
        }
    }
    EXPECT_GT(compared[".m2v"], 20);
    EXPECT_GT(compared[".ts"], 3);
    EXPECT_GT(compared[".vob"], 2);
}

class RandomSources : public testing::TestWithParam<StreamPlan> {};

// From an independent decoder's references, backwards: matrices of other frames must not stay in force.
TEST_P(RandomSources, EachFrameIsDecoded) {
    Features features;
    const RandomStream stream = MakeRandomStream(GetParam(), SyntaxSeed(), features);
    const auto layout =
        Vexmora::PlaneLayoutOf(stream.sequence.width, stream.sequence.height, Vexmora::DecodeScale::Full);
    RandomSource random(stream);
    Source& source = random.source;
    const Samples theirs = RunMpeg2dec(random.path, layout.width, layout.height, "-c");
    const std::vector<FrameRecord>& records = source.index.index.records;
    const std::size_t frameBytes = std::size_t{layout.width} * layout.height * 3 / 2;
    ASSERT_EQ(theirs.size(), records.size() * frameBytes);
    const auto samplesOf = [&](std::int32_t in) {
        return theirs.data() + static_cast<std::size_t>(in) * frameBytes;
    };
    std::size_t different = 0;
    for (auto record = static_cast<std::int32_t>(records.size()) - 1; record >= 0; --record) {
        const FrameRecord& entry = records[static_cast<std::size_t>(record)];
        const std::int32_t pastOfIntra = source.media->PastOfIntra(record);
        const std::int32_t past = pastOfIntra != kNoRecord ? pastOfIntra : record + entry.pastRefDelta;
        Picture420 forward = PictureOf(samplesOf(past), layout);
        Picture420 backward = PictureOf(samplesOf(record + entry.futureRefDelta), layout);
        Picture420 output(layout);
        const auto planes = past == record ? Vexmora::FramePlanes{} : forward.Planes();
        ASSERT_EQ(source.reader->Decode(record, {planes, backward.Planes()}, output.Planes(), {}),
                  Vexmora_Ok);
        const Samples ours = Visible(output, layout);
        int largest = 0;
        for (std::size_t i = 0; i < frameBytes; ++i) {
            const int distance = std::abs(ours[i] - samplesOf(record)[i]);
            largest = std::max(largest, distance);
            different += distance != 0;
        }
        EXPECT_LE(largest, 1) << record;
    }
    EXPECT_LE(static_cast<double>(different), 0.015 * static_cast<double>(theirs.size()));
}

TEST_P(RandomSources, NothingIsMissedAtAnyScale) {
    Features features;
    RandomSource random(MakeRandomStream(GetParam(), SyntaxSeed(), features));
    for (const auto scale : kScales) {
        FrameDecoder decoder(random.source.Frames(), scale);
        for (std::uint32_t frame = 0; frame < random.source.index.index.records.size(); ++frame) {
            EXPECT_TRUE(decoder.Frame(frame)->damage.None()) << frame;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(AllPlans, RandomSources, testing::ValuesIn(kStreamPlans),
                         [](const auto& in) { return std::string(in.param.name); });

// The second frame repeats the fields of the first, which have nothing before them to be predicted from.
TEST(FieldPairs, OfAnIntraPictureNeedThePastWhereTheyArePredictedFromIt) {
    Features features;
    const auto plan = std::ranges::find(kStreamPlans, std::string("FieldsDualPrime"), &StreamPlan::name);
    RandomStream stream = MakeRandomStream(*plan, 1, features);
    for (const std::size_t field : {0u, 1u}) {
        RandomStream::Picture again = stream.pictures[field];
        for (std::size_t later = 2; later < stream.pictures.size(); ++later) {
            if (stream.pictures[later].syntax.temporal_reference == 1) stream.pictures[later].bytes.clear();
        }
        again.bytes[5] = static_cast<std::uint8_t>((again.bytes[5] & 0x3F) | 1 << 6);
        stream.pictures.insert(stream.pictures.begin() + 2 + static_cast<std::ptrdiff_t>(field), again);
    }
    const RandomSource random(stream);
    EXPECT_EQ(random.source.media->PastOfIntra(1), kNoRecord);
}

// Packets as of a transport stream: a time stamp belongs to the first picture that begins behind it.
TEST(Scanner, KeepsWhatPacketsAndHeadersSay) {
    const Bytes sequence = Join({SequenceHeader(), SequenceExtension(), SequenceDisplayExtension(32, 24)});
    using Vexmora::Test::Picture;
    const Bytes first = Join({sequence, GopHeader(false, true), Picture(0, 1)});
    const Bytes rest = Join({Picture(0, 2), Bytes{0}});  // begins with the last bytes of a start code
    const std::vector<Bytes> packets{Picture(5, 1),      // no sequence header yet
                                     Join({first, {0, 0}}),
                                     Bytes(rest.begin() + 2, rest.end()),
                                     Join({Picture(1, 3), Picture(2, 3, 40, {.picture_structure = 1})}),
                                     Picture(2, 3, 40, {.picture_structure = 2}),
                                     Join({Picture(3, 3, 40, {.picture_structure = 2}), SequenceEnd()}),
                                     Join({sequence, Picture(3, 2, 40, {.picture_structure = 1})})};
    VideoScanner scanner;
    std::int64_t number = 0;
    for (const Bytes& packet : packets) {
        scanner.Add({.position = static_cast<std::uint64_t>(100 * number),
                     .bytes = packet,
                     .pts = 1000 * number,
                     .isAfterLoss = number == 3});
        ++number;
    }
    const CodedVideo video = scanner.Finish();
    struct Expected {
        std::uint64_t position;
        std::size_t skip;
        std::int64_t pts;
        int flags;
        bool isPair;
    };
    const int group = kGroupFlag | kBrokenLinkFlag | kSequenceFlag;
    const std::vector<Expected> expected{
        {100, first.size() - Picture(0, 1).size(), 1000, 3 | group, false},
        {100, first.size(), kNoTime, 3 | kAfterLossFlag, false},
        {300, 0, 3000, 3 | kAfterLossFlag, false},
        {300, Picture(1, 3).size(), kNoTime, 1, true},
        {500, 0, 5000, 2, false},
        {600, sequence.size(), 6000, 1 | kSequenceFlag | kSequenceEndFlag, false},
    };
    ASSERT_EQ(video.frames.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const CodedFrame& frame = video.frames[i];
        EXPECT_EQ(frame.position, expected[i].position) << i;
        EXPECT_EQ(frame.skip, expected[i].skip) << i;
        EXPECT_EQ(frame.pts, expected[i].pts) << i;
        EXPECT_EQ(frame.flags & 0xFFF & ~kTopFieldFirstFlag, expected[i].flags) << i;
        EXPECT_EQ(frame.IsFieldPair(), expected[i].isPair) << i;
        const std::size_t size = Picture(0, i == 0 ? 1 : 2).size() * (expected[i].isPair ? 2 : 1);
        EXPECT_EQ(frame.size, size + (i == 1 ? 1 : 0)) << i;
    }
    ASSERT_EQ(video.parameters.size(), 1u);
    EXPECT_EQ(video.parameters[0].bytes, sequence);
    EXPECT_EQ(video.parameters[0].displayHeight, 24u);
}

TEST(Tables, AreReadAsTheyWereWrittenOrNotAtAll) {
    Features features;
    SourceTables tables;
    tables.packaging = {Packaging::Kind::Transport,
                        192,
                        7,
                        {{1, {}}, {2, {{StreamInfo::Kind::Audio, 3, "AC-3", "deu", 0, 0}}}}};
    tables.chosen = {2, 0x100};
    tables.account.videoPids = {{0, 0x100}, {500, 0x101}};
    tables.account.packets = {{0x100, {9, 8, 7, 6}}, {3, {}}};
    tables.account.firstTimes = {{3, -5}};
    tables.account.losses = 4;
    tables.video = Scan(MakeRandomStream(kStreamPlans[5], SyntaxSeed(), features).All());
    const std::vector<std::byte> bytes = ToBytes(tables);
    const auto read = TablesFrom(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(ToBytes(*read), bytes);
    EXPECT_EQ(read->video, tables.video);
    EXPECT_EQ(read->account, tables.account);
    EXPECT_EQ(read->packaging.programs, tables.packaging.programs);
    std::size_t taken = 0;
    for (std::size_t at = 0; at < bytes.size(); at += kIsSanitized ? 5 : 1) {
        EXPECT_FALSE(TablesFrom(std::span(bytes).first(at)));
        std::vector<std::byte> damaged = bytes;
        damaged[at] = ~damaged[at];
        const auto other = TablesFrom(damaged);
        if (!other) continue;
        ++taken;
        EXPECT_EQ(ToBytes(*other), damaged);
    }
    EXPECT_LT(taken, bytes.size());
}

}  // namespace
}  // namespace VexmoraHost
