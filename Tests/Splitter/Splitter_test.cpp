// What a splitter refuses, and what it delivers of streams composed byte by byte.
#include "Splitter/Splitter.h"

#include <algorithm>
#include <string_view>

#include "Splitter/PictureSource.h"

namespace Vexmora::Test {
namespace {

Bytes Text(std::string_view inText) {
    return Bytes(inText.begin(), inText.end());
}

/// Four pictures; ends without a sequence end code.
Bytes Video(std::size_t inSliceSize = 300) {
    return Join({SequenceHeader(), SequenceExtension(), GopHeader(), Picture(0, 1, inSliceSize),
                 Picture(1, 2, inSliceSize), Picture(2, 2, inSliceSize), Picture(3, 2, inSliceSize)});
}

/// The pictures of a stream as they must be delivered: each up to and including the next picture start code.
std::vector<Bytes> Pieces(const Bytes& inVideo) {
    std::vector<Bytes> pieces;
    auto from = inVideo.begin();
    for (const std::size_t code : StartCodes(inVideo)) {
        const auto to = inVideo.begin() + static_cast<std::ptrdiff_t>(code + 4);
        pieces.emplace_back(from, to);
        from = to;
    }
    pieces.emplace_back(from, inVideo.end());
    return pieces;
}

class Source {
  public:
    explicit Source(const Bytes& inFile, std::uint32_t inCapacity = 1 << 20)
        : mSource(Write(mFolder, inFile), mHost.Services(0), inCapacity) {}
    PictureSource* operator->() { return &mSource; }

    void Expect(const std::vector<Bytes>& inPieces, ReadStatus inLast = ReadStatus::EndOfData) {
        ASSERT_EQ(mSource.splitter.Open(), ReadStatus::Ok);
        const std::vector<Delivery> got = mSource.Rest();
        ASSERT_EQ(got.size(), inPieces.size());
        for (std::size_t index = 0; index < got.size(); ++index) {
            const bool isLast = index + 1 == got.size();
            EXPECT_EQ(got[index].bytes, isLast ? Join({inPieces[index], Bytes(4, 0)}) : inPieces[index])
                << index;
        }
        EXPECT_EQ(got.back().status, inLast);
    }

  private:
    CountingHost mHost;
    PlatformFolder mFolder;
    PictureSource mSource;
};

TEST(SplitterOpen, RefusesOtherFormatsAndRewinds) {
    const Bytes asf = {0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11};
    const Bytes foreign[] = {Text("ADIF...."),
                             Join({Bytes(4, 0), Text("moov")}),
                             Join({Bytes(4, 0), Text("mdat")}),
                             Join({Bytes(4, 1), Text("udta")}),
                             Join({Bytes(4, 1), Text("skpp")}),
                             Join({Bytes(4, 1), Text("frea")}),
                             {0, 0, 1, 0x00, 9, 9, 9, 9},
                             {0, 0, 1, 0x1F, 9, 9, 9, 9},
                             {0, 0, 1, 0xB0, 9, 9, 9, 9},
                             {0, 0, 0x83, 0xFF, 9, 9, 9, 9},
                             Join({asf, Bytes(8, 3)})};
    const auto open = [](const Bytes& inFile) { return Source(inFile)->splitter.Open(); };
    for (const Bytes& bytes : foreign) EXPECT_EQ(open(bytes), ReadStatus::UnsupportedFormat);
    EXPECT_EQ(open(asf), ReadStatus::EndOfData);
    EXPECT_EQ(open({0, 0, 1}), ReadStatus::EndOfData);
    EXPECT_EQ(open({}), ReadStatus::FileFailed);
    const Bytes accepted[] = {{0, 0, 1, 0x20, 9, 9, 9, 9}, {0, 0, 0x84, 0, 9, 9, 9, 9}, {0x47, 0, 0, 0, 1}};
    for (const Bytes& bytes : accepted) {
        Source source(bytes);
        EXPECT_EQ(source->splitter.Open(), ReadStatus::Ok);
        EXPECT_EQ(source->Next().status, ReadStatus::EndOfData);
    }
    CountingHost host;
    EXPECT_EQ(Splitter(u"/nowhere/at/all", host.Services(0)).Open(), ReadStatus::FileFailed);
    EXPECT_EQ(Splitter(UTF16String(), host.Services(0)).Open(), ReadStatus::FileFailed);
}

TEST(SplitterElementary, BeginsAtTheFirstSequenceHeader) {
    const Bytes video = Video();
    Source(video).Expect(Pieces(video));
    std::vector<Bytes> ended = Pieces(Join({video, SequenceEnd()}));
    ended.emplace_back();
    Source(Join({video, SequenceEnd()})).Expect(ended);
    Source junk(Join({Text("sixteen of junk!"), {0, 0, 1, 0, 0, 0, 0}, video}));
    junk.Expect(Pieces(video));
    EXPECT_TRUE(junk->splitter.IsPureVideo());
}

TEST(SplitterElementary, APictureMustLeaveTheReserveFree) {
    const Bytes video = Video(60000);
    const std::vector<Bytes> pieces = Pieces(video);
    const auto largest = static_cast<std::uint32_t>(pieces[2].size());
    Source(video, largest + Splitter::kReserve + 1).Expect(pieces);
    // A picture that fits but reaches into the reserve is given up whole: what follows is the next picture.
    for (const std::uint32_t room : {0u, 1000u, 5000u, Splitter::kReserve - 1, Splitter::kReserve}) {
        Source tight(video, largest + room);
        ASSERT_EQ(tight->splitter.Open(), ReadStatus::Ok);
        EXPECT_EQ(tight->Next().status, ReadStatus::Ok);
        const ReadStatus second = tight->Next().status;  // of the I picture, which is a byte smaller
        EXPECT_TRUE(second == ReadStatus::Ok || room < Splitter::kReserve);
        EXPECT_EQ(tight->splitter.ReadPicture(*tight->buffer), ReadStatus::EndOfData);
        EXPECT_EQ(tight->buffer->Size(), largest);
        EXPECT_EQ(tight->buffer->Data()[0], video[pieces[0].size() + pieces[1].size()]) << "in stream order";
        EXPECT_EQ(tight->splitter.ReadPicture(*tight->buffer), ReadStatus::EndOfData);
        EXPECT_EQ(tight->buffer->Size(), pieces[3].size()) << room;
        tight->splitter.Seek(static_cast<std::int64_t>(pieces[0].size()) - 4, *tight->buffer);
        EXPECT_EQ(tight->Next().bytes, (Bytes{0, 0, 1, 0}));
    }
}

TEST(SplitterProgram, AppendsTheVideoPacketsOnly) {
    const Bytes video = Video();
    Packaging packaging;
    packaging.payloadSizes = {100, 1, 333};
    packaging.headerStuffing = 2;
    packaging.pts = [](std::size_t inNumber) { return std::optional<std::uint64_t>(inNumber * 3600); };
    packaging.before = [](std::size_t inNumber) {
        const Bytes other = Slice(50);
        Bytes pack = PackHeader(static_cast<unsigned>(inNumber % 8));
        if (inNumber % 2 != 0) pack[4] |= 0x38;  // the clock has run for 23 hours
        return Join({pack,
                     inNumber == 0 ? SystemHeader(1, {0xC0, 0xE0}) : Bytes{},
                     PesPacket(0xC0, other),
                     PaddingPacket(30),
                     PesPacket(0xBD, other),
                     {0xFF, 0xFF, 0xFF, 0xFF}});
    };
    const Bytes stream = ProgramStream(video, packaging).bytes;
    Source(stream).Expect(Pieces(video));
    Source(Join({stream, {0, 0, 1, 0xB9}, stream})).Expect(Pieces(video));
    Source(Join({stream, {0, 0, 1, 0xBA, 0x21, 0, 1, 0, 1, 0, 0, 0}, stream})).Expect(Pieces(video));
    // A header that claims more than its packet, and an empty packet, are passed over.
    Source(Join({PackHeader(), {0, 0, 1, 0xE0, 0, 4, 0x80, 0, 20, 0, 0, 0, 1, 0xE0, 0, 0}, stream}))
        .Expect(Pieces(video));
}

TEST(SplitterProgram, PayloadsLargerThanTheRoomLoseNothing) {
    const Bytes video = Video(9000);
    Packaging packaging;
    packaging.payloadSizes = {25000};
    packaging.before = [](std::size_t) { return PackHeader(); };
    const std::vector<Bytes> pieces = Pieces(video);
    Source(ProgramStream(video, packaging).bytes,
           static_cast<std::uint32_t>(pieces[2].size()) + Splitter::kReserve + 1)
        .Expect(pieces);
}

Bytes NetworkAndProgramPat() {
    Bytes packet = PatPacket(kPmtPid);
    // After the first 9 bytes of table: program 0 with a network PID in front of the program there is.
    const Bytes network = {0, 0, 0xE0, 0x10};
    packet.insert(packet.begin() + 13, network.begin(), network.end());
    packet.resize(188);
    packet[7] = static_cast<std::uint8_t>(packet[7] + 4);
    return packet;
}

/// Packets of the video alone.
Packetised VideoInPackets(const Bytes& inVideo) {
    Packaging packaging;
    packaging.payloadSizes = {184, 7, 176};
    return TransportStream(inVideo, packaging);
}
Bytes VideoPackets(const Bytes& inVideo) {
    return VideoInPackets(inVideo).bytes;
}

TEST(SplitterTransport, LearnsTheVideoFromTheTables) {
    const Bytes video = Video();
    const Bytes packets = VideoPackets(video);
    const Bytes tables = Join(
        {NetworkAndProgramPat(), PmtPacket(kPmtPid, {{4, kAudioPid}, {2, kVideoPid}, {2, kVideoPid + 9}})});
    Bytes pointed = PatPacket(kVideoPid);
    pointed[4] = 1;
    const Bytes other = TransportPacket(kAudioPid, true, Slice(100));
    Source(Join({tables, packets})).Expect(Pieces(video));
    // Video in front of the tables counts; a table behind a pointer does not, nor do other packets.
    Source(Join({packets, other, pointed, tables, TransportPacket(0x1FFF, false, Slice(100))}))
        .Expect(Pieces(video));
    Source(Join({tables, TransportPacket(kVideoPid + 9, false, Slice(100)), packets})).Expect(Pieces(video));

    const std::vector<Bytes> nothing(1);
    Source(Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{1, kVideoPid}}), packets})).Expect(nothing);
    Source(Join({PatPacket(kPmtPid), packets})).Expect(nothing);
    Source(packets).Expect(nothing);
    Source(Join({tables, packets}), 188).Expect(nothing, ReadStatus::ServiceFailed);
}

TEST(SplitterTransport, LengthsBeyondThePacketYieldNothing) {
    const Bytes video = Video();
    const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
    Bytes wild = TransportPacket(kVideoPid, true, Slice(100));
    Bytes stream = tables;
    for (const std::uint8_t length : Bytes{175, 180, 183, 200, 255}) {
        wild[4] = length;
        stream.insert(stream.end(), wild.begin(), wild.end());
    }
    Source(Join({stream, VideoPackets(video)})).Expect(Pieces(video));
    Bytes pat = PatPacket(kPmtPid), pmt = PmtPacket(kPmtPid, {{3, kAudioPid}});
    pat[6] = pmt[6] = 0xFF;
    pat[7] = pmt[7] = 0xFF;
    std::fill(pat.begin() + 13, pat.end(), std::uint8_t{0});
    Source(Join({pat, PatPacket(kPmtPid), pmt, VideoPackets(video)})).Expect(std::vector<Bytes>(1));
    Bytes cut = PmtPacket(kPmtPid, {{3, kAudioPid}, {2, kVideoPid}});
    cut[7] -= 5;  // section_length: the second stream lies where the CRC does
    Source(Join({PatPacket(kPmtPid), cut, VideoPackets(video)})).Expect(std::vector<Bytes>(1));
}

TEST(SplitterTransport, FindsTheSyncAgainOnlyBehindVideo) {
    const Bytes video = Video();
    const Packetised packetised = VideoInPackets(video);
    const Bytes& packets = packetised.bytes;
    const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
    const Bytes audio = TransportPacket(kAudioPid, true, Slice(100));
    const auto behind = packets.begin() + 188;
    const Bytes first(packets.begin(), behind), rest(behind, packets.end());
    const std::vector<Bytes> pieces = Pieces(video);
    Source(Join({tables, first, Bytes(188, 1), rest})).Expect(pieces);
    const auto firstEnd = static_cast<std::ptrdiff_t>(packetised.pieces[1].videoBegin);
    const Bytes begun(video.begin() + static_cast<std::ptrdiff_t>(pieces[0].size()),
                      video.begin() + firstEnd);
    Source(Join({tables, first, Bytes(189, 1), rest})).Expect({pieces[0], begun});

    Source lost(Join({tables, packets, audio, Bytes(100, 1), packets}));
    lost.Expect(pieces, ReadStatus::LostSync);
    EXPECT_EQ(lost->Next().bytes, pieces[0]) << "the next call goes on at the next sync byte";
}

}  // namespace
}  // namespace Vexmora::Test
