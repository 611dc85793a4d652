// Any division of a stream into buffers and packets gives the same index, and the right one.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Support/Options.h"
#include "Support/StreamBuilder.h"

namespace Vexmora::Test {
namespace {

// Two GOPs in coded order; the sizes bring start codes to all distances from the ends of pieces.
Bytes TwoGops() {
    const Bytes first =
        Join({GopHeader(false), Picture(2, kPictureTypeI, 71), Picture(0, kPictureTypeB, 1),
              Picture(1, kPictureTypeB, 9, {.repeat_first_field = true, .progressive_frame = true}),
              Picture(5, kPictureTypeP, 30), Picture(3, kPictureTypeB, 14, {.top_field_first = false}),
              Picture(4, kPictureTypeB, 3)});
    const Bytes second =
        Join({GopHeader(false, true), Picture(2, kPictureTypeI, 57), Picture(0, kPictureTypeB, 2),
              Picture(1, kPictureTypeB, 300), Slice(200), Slice(146), Slice(180), Slice(400), SequenceEnd()});
    const Bytes display = SequenceDisplayExtension(64, 48, 1, {{1, 2, 3}});
    return Join({SequenceHeader(), SequenceExtension(), display, first, SequenceHeader(), SequenceExtension(),
                 second});
}
constexpr char kTwoGops[] = "B0(+2+2) B1(+1+1) I2 B3(-1+2) B4(-2+1) P5(-3) B0(-1+2) B1(-2+1) I2";

struct Case {
    std::string name;
    Packetised stream;
    std::uint32_t kind;
    std::uint32_t firstFrame;
};

std::optional<std::uint64_t> Pts(std::size_t inNumber) {
    return 90000 + 3600 * inNumber;
}

// Packs, a system header, audio, private and padding packets in turn between the video packets.
Bytes BetweenProgramPackets(std::size_t inNumber) {
    const Bytes sound = Slice(20 + inNumber % 7);
    if (inNumber == 0) return Join({PackHeader(3), SystemHeader(1, {0xC0, 0xE0})});
    switch (inNumber % 4) {
        case 0:
            return Join({PackHeader(inNumber % 8), PesPacket(0xBD, sound, 5)});
        case 1:
            return PesPacket(0xC0, sound, 90000 + 900 * inNumber, inNumber % 3);
        case 2:
            return Join({PesPacket(0xC0, sound, 90000 + 900 * inNumber), PaddingPacket(inNumber % 40)});
        default:
            return {};
    }
}

Bytes BetweenTransportPackets(std::size_t inNumber) {
    const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}, {3, kAudioPid}})});
    const Bytes sound = PesPacket(0xC0, Slice(20), 90000 + 900 * inNumber);
    if (inNumber == 0) return tables;
    if (inNumber % 9 == 0) return Join({TransportPacket(0x1FFF, false, Bytes(184, 0xFF)), tables});
    return inNumber % 2 == 0 ? TransportPacket(kAudioPid, true, sound) : Bytes();
}

std::vector<Case> Cases() {
    const Bytes video = TwoGops();
    std::vector<Case> cases = {{"elementary", Elementary(video), kStreamKindElementary, 0}};
    const std::vector<std::vector<std::size_t>> sizes = {
        {100}, {33}, {32}, {250, 47}, {1, 2, 3, 40}, {5, 60, 2, 2, 2, 90}, {7, 31, 64}, {184}};
    for (std::size_t index = 0; index < sizes.size(); ++index) {
        const std::string name = std::to_string(index);
        cases.push_back({"program " + name,
                         ProgramStream(video, {sizes[index], BetweenProgramPackets, Pts, index % 3}),
                         kStreamKindProgram, 0});
        cases.push_back({"transport " + name,
                         TransportStream(video, {sizes[index], BetweenTransportPackets, Pts, index % 3}),
                         kStreamKindTransport, 2});
    }
    return cases;
}

TEST(Splits, WholeStreamsGiveTheIndexThatTheirPacketsCallFor) {
    std::size_t plans = 0;
    for (const Case& item : Cases()) {
        SCOPED_TRACE(item.name);
        const IndexResult index = Index(item.stream.bytes);
        ASSERT_EQ(index.done, Vexmora_Ok);
        EXPECT_EQ(RecordedExtents(index), ExpectedExtents(item.stream));
        plans += !index.plan.empty();

        const IndexHeader& header = index.header;
        EXPECT_EQ(header.version, kIndexVersion);
        EXPECT_EQ(header.streamKind, item.kind);
        EXPECT_EQ(header.streamLength, item.stream.bytes.size());
        EXPECT_EQ(header.firstFrame, item.firstFrame);
        EXPECT_EQ(header.lastFrame, 8U);
        EXPECT_EQ(header.width, 64);
        EXPECT_EQ(header.height, 48);
        EXPECT_EQ(header.displayWidth, 64);
        EXPECT_EQ(header.aspectRatioCode, 2U);
        EXPECT_EQ(header.effectiveFrameRate, 25000U);
        EXPECT_EQ(header.formatWord & 0x1FFFF, 1U | 1 << 3 | 2 << 6 | 3 << 10 | 3 << 15);

        EXPECT_EQ(header.recordCount, 9U);
        EXPECT_EQ(Describe(index), kTwoGops);
        for (std::size_t number = 0; number < index.records.size(); ++number) {
            const unsigned flags = (number == 3 ? 0U : kTopFieldFirstBit) |
                                   (number == 1 ? kRepeatFirstFieldBit | kProgressiveFrameBit : 0U) |
                                   (number >= 6 ? kBrokenLinkBit : 0U);
            const unsigned mask =
                kTopFieldFirstBit | kRepeatFirstFieldBit | kProgressiveFrameBit | kBrokenLinkBit;
            EXPECT_EQ(index.records[number].flags & mask, flags) << number;
            EXPECT_EQ(index.records[number].reserved, 0);
        }
    }
    EXPECT_GE(plans, 8U);  // the other tests compare them too
}

TEST(Splits, BuffersGiveTheSameIndexHoweverTheyAreCut) {
    constexpr std::size_t kStride = kIsSanitized ? 5 : 1;
    for (const Case& item : Cases()) {
        SCOPED_TRACE(item.name);
        const Bytes& bytes = item.stream.bytes;
        const IndexResult whole = Index(bytes);
        constexpr std::size_t kMiddles[] = {33, 34, 190};
        for (std::size_t cut = 1; cut < bytes.size(); cut += kStride) {
            ASSERT_TRUE(Index(bytes, {cut}) == whole) << "cut at " << cut;
            const std::size_t second = std::min(cut + kMiddles[cut % std::size(kMiddles)], bytes.size());
            ASSERT_TRUE(Index(bytes, {cut, second}) == whole) << "cut at " << cut << " and " << second;
        }
        for (std::size_t piece = 33; piece <= 400; piece += kStride) {
            ASSERT_TRUE(Index(bytes, FixedCuts(bytes.size(), piece)) == whole) << "pieces of " << piece;
            ASSERT_TRUE(Index(bytes, RandomCuts(bytes.size(), 33, piece, piece)) == whole)
                << "random pieces, seed " << piece;
        }
    }
}

TEST(Splits, APictureStartCodeBelongsToThePacketInWhichItBegins) {
    // One start code spread over two to four packets with audio between them, at every phase.
    const Bytes before =
        Join({SequenceHeader(), SequenceExtension(), GopHeader(), Picture(0, kPictureTypeI, 50)});
    const Bytes video = Join({before, Picture(1, kPictureTypeP, 80)});
    for (std::size_t first = before.size() - 4; first <= before.size() + 4; ++first) {
        for (const std::size_t tiny : {1U, 2U, 3U}) {
            const auto between = [](std::size_t inNumber) {
                return inNumber == 0 ? PackHeader() : PesPacket(0xC0, Slice(30));
            };
            const Packetised program =
                ProgramStream(video, {.payloadSizes = {first, tiny, tiny, tiny, 200}, .before = between});
            EXPECT_EQ(RecordedExtents(Index(program.bytes)), ExpectedExtents(program))
                << first << ' ' << tiny;
            const Packetised transport = TransportStream(
                video, {.payloadSizes = {first, tiny, tiny, tiny, 170}, .before = BetweenTransportPackets});
            EXPECT_EQ(RecordedExtents(Index(transport.bytes)), ExpectedExtents(transport))
                << first << ' ' << tiny;
        }
    }
}

TEST(Splits, StartCodesNearTheEndAreHandledOrNotForEveryCut) {
    for (std::size_t slice = 0; slice < 40; ++slice) {
        const Bytes last = Picture(1, kPictureTypeP, slice);
        const Bytes video =
            Join({SequenceHeader(), SequenceExtension(), Picture(0, kPictureTypeI, 80), last});
        const Packetised transport =
            TransportStream(video, {.payloadSizes = {184, 75}, .before = BetweenTransportPackets});
        const IndexResult whole = Index(video);
        // A start code needs 33 bytes of the stream, in a transport stream 32.
        EXPECT_EQ(whole.records.size(), last.size() >= 33 ? 2U : 1U) << slice;
        EXPECT_EQ(Index(transport.bytes).records.size(), last.size() >= 32 ? 2U : 1U) << slice;
        for (std::size_t cut = video.size() - 100; cut < video.size(); ++cut) {
            ASSERT_TRUE(Index(video, {cut}) == whole) << slice << " cut at " << cut << " of " << video.size();
        }
    }
}

TEST(Splits, BuffersTooShortToScanFailTheIndex) {
    const Bytes video = TwoGops();
    EXPECT_EQ(Index(video, FixedCuts(video.size(), 1)).done, Vexmora_Unsupported);
    Vexmora_IndexerHandle indexer = nullptr;
    ASSERT_EQ(Vexmora_CreateIndexerFromFirstBuffer(video.data(), &indexer), Vexmora_Ok);
    EXPECT_EQ(Vexmora_BufferIndexerScan(indexer, video.data(), 0, 0), Vexmora_Failure);
    EXPECT_EQ(Vexmora_BufferIndexerScan(indexer, nullptr, 10, 0), Vexmora_Failure);
    EXPECT_EQ(Vexmora_BufferIndexerScan(indexer, video.data(), video.size(), 0), Vexmora_Ok);
    IndexResult result;
    EXPECT_EQ(Vexmora_BufferIndexerDone(indexer, video.size(), &result.header, &result.plan, &result.records),
              Vexmora_Ok);
    EXPECT_EQ(result.records, Index(video).records);
    EXPECT_EQ(Vexmora_BufferIndexerDestroy(&indexer), Vexmora_Ok);
    EXPECT_EQ(indexer, nullptr);
    EXPECT_EQ(Vexmora_BufferIndexerDestroy(&indexer), Vexmora_Failure);
}

// Payloads too short to be scanned add up until there are too many of them, wherever buffers are cut.
TEST(Splits, RunsOfShortPayloadsEndAlikeInAnyBuffers) {
    constexpr unsigned kVideo = 0xE0;
    const Bytes begin = Join({PackHeader(), PesPacket(kVideo, Join({SequenceHeader(), SequenceExtension(),
                                                                    GopHeader(), Picture(0, 1, 200)}))});
    const Bytes startCode = PesPacket(kVideo, Join({{0, 0, 1, 5}, Bytes(29, 0x66)}));
    const Bytes filler = PesPacket(kVideo, Bytes(31, 0x77));
    const Bytes lastShort = PesPacket(kVideo, Join({Bytes(22, 0x77), PictureHeader(1, 2)}));
    const Bytes end = PesPacket(kVideo, Bytes(200, 0x44));
    for (const int fillers : {7, 8}) {
        Bytes stream = Join({begin, startCode});
        for (int i = 0; i < fillers; ++i) stream.insert(stream.end(), filler.begin(), filler.end());
        stream = Join({stream, lastShort, end});
        const IndexResult whole = Index(stream);
        // 29 bytes behind the start code, and 31 in each short payload, of which 288 are too many.
        EXPECT_EQ(whole.done, fillers == 7 ? Vexmora_Ok : Vexmora_Unsupported);
        for (std::size_t cut = 33; cut + 33 <= stream.size(); ++cut) {
            ASSERT_EQ(Index(stream, {cut}), whole) << fillers << " fillers, cut at " << cut;
        }
    }

    // Transport packets: 28 bytes behind the last start code, or 31 when a packet without any comes after it,
    // and 26 in each short payload, of which 160 are too many.
    const Bytes first = PesPacket(kVideo, Join({SequenceHeader(), SequenceExtension(), Picture(0, 1, 80)}));
    const Bytes late = Join({Bytes(152, 0x77), {0, 0, 1, 5}, Bytes(28, 0x66)});
    for (const bool hasQuietPacket : {false, true}) {
        Bytes stream =
            Join({TransportPacket(kVideoPid, true, first), TransportPacket(kVideoPid, false, late)});
        if (hasQuietPacket) stream = Join({stream, TransportPacket(kVideoPid, false, Bytes(184, 0x77))});
        for (int i = 0; i < 5; ++i)
            stream = Join({stream, TransportPacket(kVideoPid, false, Bytes(26, 0x77))});
        EXPECT_EQ(Index(stream).done, hasQuietPacket ? Vexmora_Unsupported : Vexmora_Ok);
        EXPECT_EQ(Index(stream), Index(stream, {2 * 188 + 1, 2 * 188 + 100}));
    }
}

}  // namespace
}  // namespace Vexmora::Test
