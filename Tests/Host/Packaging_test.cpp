// Video of real encoders in every packaging: found, chosen, and read byte by byte as it was put in, from the
// start and from any place on.
#include "sources/Packaging.h"

#include <gtest/gtest.h>

#include <functional>

#include "Support/Repackage.h"
#include "Support/TestFiles.h"
#include "VexmoraHost/Error.h"
#include "sources/VideoReader.h"

namespace VexmoraHost {
namespace {

using namespace Vexmora::Test;
using Kind = VexmoraHost::Packaging::Kind;
namespace fs = std::filesystem;
const fs::path kStreams = VEXMORA_STREAM_DIR;

const Bytes& Video(const char* inName = "ip-64x48.m2v") {
    static std::map<std::string, Bytes> read;
    Bytes& video = read[inName];
    if (video.empty()) video = ReadAll(kStreams / inName);
    return video;
}
const Bytes& OtherVideo() {
    return Video("tiny-odd-96x80.m2v");
}

struct Read {
    VexmoraHost::Packaging packaging;
    ChosenVideo chosen;
    StreamAccount account;
    Bytes video;
    std::size_t losses = 0;  // pieces that say that bytes may be missing in front
};

struct Piece {
    std::uint64_t position;
    Bytes bytes;
    std::optional<std::int64_t> pts;
    bool isAfterLoss;
};

// Reads it whole, and from every piece on a few pieces more.
Read ReadAndSeek(const std::vector<Bytes>& inParts, const VideoChoice& inChoice = {}) {
    const TemporaryFolder folder;
    std::vector<fs::path> paths;
    for (const Bytes& part : inParts)
        WriteAll(paths.emplace_back(folder / std::to_string(paths.size())), part);
    const JoinedFiles files(paths);
    Read read;
    read.packaging = FindPackaging(files);
    read.chosen = ChooseVideo(read.packaging, inChoice, paths.front());
    std::vector<Piece> pieces;
    VideoPiece piece;
    const auto scanner = MakeScanningReader(files, read.packaging, read.chosen, read.account);
    while (scanner->Next(piece)) {
        read.video.insert(read.video.end(), piece.bytes.begin(), piece.bytes.end());
        read.losses += piece.isAfterLoss ? 1 : 0;
        pieces.push_back(
            {piece.position, {piece.bytes.begin(), piece.bytes.end()}, piece.pts, piece.isAfterLoss});
    }
    const auto reader = MakeRandomReader(files, read.packaging, read.account);
    for (std::size_t from = pieces.size(); from-- > 0;) {
        reader->Seek(pieces[from].position);
        for (std::size_t at = from; at < std::min(from + 5, pieces.size()); ++at) {
            const Piece& expected = pieces[at];
            const bool isSame = reader->Next(piece) && piece.position == expected.position &&
                                piece.pts == expected.pts &&
                                std::ranges::equal(piece.bytes, expected.bytes) &&
                                (at == from || piece.isAfterLoss == expected.isAfterLoss);
            if (isSame) continue;
            ADD_FAILURE() << "piece " << at << " read from " << from << " on";
            return read;
        }
    }
    return read;
}

Packets VideoWithTables(const Bytes& inVideo, std::size_t inFirst = 0, std::size_t inHeaderStuffing = 0) {
    return WithTables(VideoPackets(0x100, inVideo, inHeaderStuffing), Tables({{1, 0x20, {{2, 0x100}}}}), 50,
                      inFirst);
}

Bytes Garbage(std::size_t inSize) {
    Bytes bytes(inSize);
    for (std::size_t at = 0; at < inSize; ++at) bytes[at] = static_cast<std::uint8_t>(1 + at * at % 201);
    return bytes;
}

Packets WithoutTables(Packets inPackets) {
    std::erase_if(inPackets,
                  [](const Bytes& inPacket) { return (inPacket[1] & 0x1F) == 0 && inPacket[2] <= 0x20; });
    return inPackets;
}

TEST(Packaging, VideoComesOutAsItWentIn) {
    const Packets packets = VideoWithTables(Video());
    const Bytes stream = Together(packets);
    const auto cut = [&stream](std::size_t inAt) {
        return std::vector{Part(stream, 0, inAt), Part(stream, inAt)};
    };
    const Packets twoPids = Mix(VideoPackets(0x101, OtherVideo()), VideoPackets(0x100, Video()));
    const Bytes parity = Together(packets, 204);
    Bytes withDuplicates;
    for (const Bytes& packet : Split(stream)) {
        withDuplicates = Join({withDuplicates, packet, packet});
    }
    const struct {
        const char* name;
        std::vector<Bytes> parts;
        Kind kind;
        std::uint32_t distance;
        std::uint64_t begin;
    } rows[] = {
        {"188", {stream}, Kind::Transport, 188, 0},
        {"192", {Together(packets, 192)}, Kind::Transport, 192, 4},
        {"204", {parity}, Kind::Transport, 204, 0},
        {"garbage in front", {Garbage(100'001), stream}, Kind::Transport, 188, 100'001},
        {"within a packet", {Part(parity, 100)}, Kind::Transport, 204, 104},
        {"between tables", {Together(VideoWithTables(Video(), 30))}, Kind::Transport, 188, 0},
        {"headers over packets", {Together(VideoWithTables(Video(), 0, 200))}, Kind::Transport, 188, 0},
        {"every packet twice", {withDuplicates}, Kind::Transport, 188, 0},
        {"a cut in a packet", cut(5 * 188 + 2), Kind::Transport, 188, 0},
        {"an empty part", {stream, {}}, Kind::Transport, 188, 0},
        {"no tables", {Together(WithoutTables(packets))}, Kind::Transport, 188, 0},
        {"no tables, two streams", {Together(twoPids)}, Kind::Transport, 188, 0},
        {"packs", {InProgramStream(Video(), {})}, Kind::Program, 0, 0},
        {"stream id E3", {InProgramStream(Video(), {.streamId = 0xE3})}, Kind::Program, 0, 0},
        {"packs of MPEG-1", {InProgramStream(Video(), {.isMpeg1 = true})}, Kind::Program, 0, 0},
        {"no packs", {InProgramStream(Video(), {.hasPacks = false})}, Kind::Program, 0, 0},
        {"no lengths",
         {InProgramStream(Video("hd-1920x1080.m2v"), {.hasPacks = false, .isOpen = true})},
         Kind::Program,
         0,
         0},
        {"garbage before packs", {Garbage(70'000), InProgramStream(Video(), {})}, Kind::Program, 0, 70'000},
        {"elementary", {Video()}, Kind::Elementary, 0, 0},
        {"a zero byte", {{0}, Video()}, Kind::Elementary, 0, 1},
        {"garbage before video", {Garbage(3'000), Video()}, Kind::Elementary, 0, 3'000},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Read read = ReadAndSeek(row.parts);
        EXPECT_EQ(read.packaging.kind, row.kind);
        EXPECT_EQ(read.packaging.packetDistance, row.distance);
        EXPECT_EQ(read.packaging.begin, row.begin);
        const bool isLarge = std::string(row.name) == "no lengths";
        EXPECT_TRUE(read.video == (isLarge ? Video("hd-1920x1080.m2v") : Video()));
        EXPECT_EQ(read.losses, 0u);
        EXPECT_EQ(read.account.skippedBytes, read.packaging.SkippedAtStart());
        EXPECT_EQ(read.account.losses + read.account.videoPacketsNotShown, 0u);
        const StreamInfo& info = read.packaging.programs.front().streams.front();
        EXPECT_EQ(info.codec, "MPEG-2 video");
        EXPECT_EQ(info.width, isLarge ? 1920u : 64u);
        EXPECT_EQ(info.height, isLarge ? 1080u : 48u);
    }
}

TEST(Packaging, ProgramsAreNamedAndChosen) {
    const Packets videos = Mix(Mix(VideoPackets(0x100, OtherVideo()), VideoPackets(0x200, Video())),
                               VideoPackets(0x201, OtherVideo()));
    const std::vector<Program> programs{{7, 0x30, {{0x1B, 0x90}, {3, 0x91}}},
                                        {8, 0x31, {{4, 0x92}, {2, 0x200}, {2, 0x201}}},
                                        {9, 0x32, {{2, 0x100}}}};
    const std::vector<Bytes> stream{Together(WithTables(videos, Tables(programs), 60, 70))};
    const Read first = ReadAndSeek(stream);
    EXPECT_TRUE(first.video == Video());
    EXPECT_EQ(first.chosen.program, 8);
    ASSERT_EQ(first.packaging.programs.size(), 3u);
    const ProgramInfo& described = first.packaging.programs[1];
    EXPECT_EQ(described.number, 8);
    const StreamInfo sound{StreamInfo::Kind::Audio, 0x92, "MPEG-2 audio", "eng", 0, 0};
    const StreamInfo video{StreamInfo::Kind::Video, 0x201, "MPEG-2 video", "eng", 96, 80};
    EXPECT_EQ(described.streams.front(), sound);
    EXPECT_EQ(described.streams.back(), video);
    EXPECT_TRUE(ReadAndSeek(stream, {.program = 9, .pid = {}}).video == OtherVideo());
    EXPECT_TRUE(ReadAndSeek(stream, {.program = {}, .pid = 0x201}).video == OtherVideo());

    const auto refusal = [&stream](const VideoChoice& inChoice) -> std::string {
        try {
            ReadAndSeek(stream, inChoice);
            return "accepted";
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Vexmora_Unsupported);
            return error.what();
        }
    };
    EXPECT_TRUE(refusal({.program = 3, .pid = {}}).ends_with(": has no program 3 (choose among 7, 8 and 9)"));
    EXPECT_TRUE(refusal({.program = 7, .pid = {}})
                    .ends_with(": holds H.264 video, which is not supported (convert it to MPEG-2)"));
    EXPECT_TRUE(refusal({.program = 8, .pid = 0x92})
                    .ends_with("holds MPEG-2 audio, no video (choose among PID 512 (MPEG-2 video) and PID "
                               "513 (MPEG-2 video))"));
}

TEST(Packaging, AVideoThatMovesIsFollowed) {
    const std::size_t half = StartCodes(Video())[40];
    const Bytes begin = Part(Video(), 0, half);
    const Bytes end = Part(Video(), half);
    Packets packets = VideoWithTables(begin);
    // Another program takes the old PID over; the map moves, too.
    const Packets later = Mix(VideoPackets(0x333, end), VideoPackets(0x100, OtherVideo()));
    const Packets moved =
        WithTables(later, Tables({{1, 0x21, {{2, 0x333}}}, {2, 0x22, {{2, 0x100}}}}, 1), 50);
    packets.insert(packets.end(), moved.begin(), moved.end());
    const Read read = ReadAndSeek({Together(packets)});
    EXPECT_TRUE(read.video == Video());
    ASSERT_EQ(read.account.videoPids.size(), 2u);
    EXPECT_EQ(read.account.videoPids[1].pid, 0x333);
    EXPECT_EQ(read.account.videoPacketsNotShown, 0u);
}

TEST(Packaging, LossesAreCounted) {
    const Packets sound(20, TransportPacket(0x101, true, PesPacket(0xC0, Bytes(100), 123'456)));
    const Packets unnamed(10, TransportPacket(0x555, true, PesPacket(0xE0, Bytes(50))));
    const Packets tables = Tables({{1, 0x20, {{2, 0x100}, {3, 0x101}}}});
    const Packets packets =
        Split(Together(WithTables(Mix(Mix(VideoPackets(0x100, Video()), sound), unnamed), tables, 50)));
    const auto isVideo = [](const Bytes& inPacket) { return inPacket[1] % 0x20 == 1 && inPacket[2] == 0; };
    std::vector<std::size_t> places;
    for (std::size_t at = 0; at < packets.size(); ++at) {
        if (isVideo(packets[at]) && (packets[at][1] & 0x40) == 0) places.push_back(at);
    }
    const struct {
        const char* name;
        std::function<void(Bytes&)> harm;
        PacketCounts counts;  // less the packets
        std::uint64_t notShown;
        std::uint64_t skipped;
    } rows[] = {
        {"missing", [](Bytes& ioPacket) { ioPacket.clear(); }, {.continuityErrors = 1}, 0, 0},
        {"scrambled", [](Bytes& ioPacket) { ioPacket[3] |= 0x80; }, {.scrambled = 1}, 1, 0},
        {"with an error", [](Bytes& ioPacket) { ioPacket[1] |= 0x80; }, {.transportErrors = 1}, 1, 0},
        {"without its sync byte", [](Bytes& ioPacket) { ioPacket[0] = 0; }, {.continuityErrors = 1}, 0, 188},
        {"cut short", [](Bytes& ioPacket) { ioPacket.resize(99); }, {.continuityErrors = 1}, 0, 188 + 99},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Packets harmed = packets;
        row.harm(harmed[places[10]]);
        Bytes stream;
        for (const Bytes& packet : harmed) stream.insert(stream.end(), packet.begin(), packet.end());
        const Read read = ReadAndSeek({stream});
        EXPECT_EQ(read.losses, 1u);
        PacketCounts counts = read.account.packets.at(0x100);
        counts.packets = 0;
        EXPECT_EQ(counts, row.counts);
        EXPECT_EQ(read.account.videoPacketsNotShown, row.notShown + unnamed.size());
        EXPECT_LE(read.account.skippedBytes, row.skipped);
        EXPECT_EQ(read.account.losses, row.skipped > 0 ? 1u : 0u);
        EXPECT_EQ(read.account.packets.at(0x101).packets, 20u);
        EXPECT_EQ(read.account.firstTimes, (std::map<std::uint16_t, std::int64_t>{{0x101, 123'456}}));
        EXPECT_LT(read.video.size(), Video().size());
        EXPECT_GE(read.video.size() + 2 * 184, Video().size());
    }
}

TEST(Packaging, WhatIsNoneIsNamed) {
    const auto text = [](const char* inText, std::size_t inZeros) {
        Bytes bytes(inText, inText + std::char_traits<char>::length(inText));
        bytes.insert(bytes.begin(), inZeros, 0);
        bytes.resize(5'000, 1);
        return bytes;
    };
    const std::pair<Bytes, const char*> rows[] = {
        {{}, "is empty"},
        {text("ftypisom", 4), "is an MP4 or QuickTime file"},
        {text("\x1A\x45\xDF\xA3", 0), "is a Matroska or WebM file"},
        {text("\x01\x67\x42", 3), "is an H.264 stream"},
        {Garbage(5'000), "is not an MPEG-2 elementary, program or transport stream"},
        {Video("refused-mpeg1.m2v"), "holds MPEG-1 video, which is not supported"},
    };
    for (const auto& [bytes, problem] : rows) {
        try {
            ReadAndSeek({bytes});
            ADD_FAILURE() << "not refused: " << problem;
        } catch (const Error& error) {
            EXPECT_NE(std::string(error.what()).find(problem), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace VexmoraHost
