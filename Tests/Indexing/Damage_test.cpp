// Streams that are refused, disordered or damaged, and the records that they have all the same.
#include <gtest/gtest.h>

#include <string>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {
namespace {

constexpr unsigned kI = kPictureTypeI;
constexpr unsigned kP = kPictureTypeP;
constexpr unsigned kB = kPictureTypeB;

Bytes Headers(const Sequence& inSequence = {}) {
    return Join({SequenceHeader(inSequence), SequenceExtension(inSequence)});
}

struct Coded {
    unsigned temporalReference;
    unsigned type;
};
Bytes Pictures(std::initializer_list<Coded> inPictures) {
    Bytes all;
    for (const Coded& picture : inPictures) {
        const Bytes bytes = Picture(picture.temporalReference, picture.type);
        all.insert(all.end(), bytes.begin(), bytes.end());
    }
    return all;
}

void ExpectFailed(const IndexResult& inIndex) {
    EXPECT_EQ(inIndex.done, Vexmora_Unsupported);
    IndexHeader failed{};
    failed.version = kIndexVersion;
    failed.streamKind = kStreamKindFailed;
    EXPECT_TRUE(inIndex.header == failed);
    EXPECT_TRUE(inIndex.records.empty() && inIndex.plan.empty());
}

const Bytes kGroup = Pictures({{2, kI}, {0, kB}, {1, kB}, {5, kP}, {3, kB}, {4, kB}});

TEST(Refused, HeadersThatCannotBeIndexed) {
    const Bytes rest = Join({GopHeader(), kGroup});
    const Bytes fields = Picture(6, kP, 40, {.picture_structure = 1});
    struct Case {
        const char* name;
        Bytes stream;
        bool accepted;
    };
    const Sequence wide = {.width = 4096 + 64};
    const Sequence tall = {.height = 4096 + 48};
    const Case cases[] = {
        {"plain", Join({Headers(), rest}), true},
        {"no sequence extension", Join({SequenceHeader(), rest}), false},
        {"no pictures", Join({Headers(), GopHeader(), Bytes(40, 0xFF)}), false},
        {"D pictures only", Join({Headers(), Pictures({{0, 4}, {1, 0}, {2, 5}})}), false},
        {"bad later sequence header", Join({Headers(), rest, SequenceHeader({.frame_rate_code = 0}), rest}),
         true},
        {"same extension again", Join({Headers(), rest, Headers(), rest}), true},
        {"wider later extension", Join({Headers(), rest, SequenceExtension(wide), rest}), false},
        {"taller later extension", Join({Headers(), rest, SequenceExtension(tall), rest}), false},
        {"display size the same", Join({Headers(), SequenceDisplayExtension(64, 48), rest}), true},
        {"display size zero", Join({Headers(), SequenceDisplayExtension(0, 0), rest}), true},
        {"display width differs", Join({Headers(), SequenceDisplayExtension(63, 48), rest}), false},
        {"display height differs", Join({Headers(), SequenceDisplayExtension(64, 49), rest}), false},
        {"display width differs behind colours",
         Join({Headers(), SequenceDisplayExtension(720, 48, 5, {{1, 1, 1}}), rest}), false},
        {"later display size differs",
         Join({Headers(), SequenceDisplayExtension(64, 48), rest, SequenceDisplayExtension(64, 50), rest}),
         false},
        {"later display size differs by 4096",
         Join({Headers(), SequenceDisplayExtension(64, 48), rest, SequenceDisplayExtension(64 + 4096, 48),
               rest}),
         true},
        {"field pictures", Join({Headers(), Picture(0, kI, 40, {.picture_structure = 2}), rest}), false},
        {"a later field picture", Join({Headers(), rest, fields, rest}), false},
        {"P 127 after its anchor", Join({Headers(), Pictures({{0, kI}, {127, kP}})}), true},
        {"P 128 after its anchor", Join({Headers(), Pictures({{0, kI}, {128, kP}})}), false},
        {"B 128 after its past anchor", Join({Headers(), Pictures({{0, kI}, {129, kI}, {128, kB}})}), false},
        {"B 128 before its future anchor", Join({Headers(), Pictures({{2, kI}, {131, kI}, {3, kB}})}), false},
        {"picture of 16 MiB", Join({Headers(), Picture(0, kI, 0x1000000 - 21), Picture(1, kP)}), true},
        {"picture of 16 MiB and a byte", Join({Headers(), Picture(0, kI, 0x1000000 - 20), Picture(1, kP)}),
         false},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(item.name);
        const IndexResult index = Index(item.stream);
        if (item.accepted) {
            EXPECT_EQ(index.done, Vexmora_Ok);
            EXPECT_EQ(RecordedExtents(index), ExpectedExtents(Elementary(item.stream)));
        } else {
            ExpectFailed(index);
        }
    }
}

TEST(Refused, FrameRateCodesOutside1To8) {
    const std::uint32_t rates[16] = {0, 23976, 24000, 25000, 29970, 30000, 50000, 59940, 60000};
    for (unsigned code = 0; code < 16; ++code) {
        const IndexResult index = Index(Join({Headers({.frame_rate_code = code}), kGroup}));
        EXPECT_EQ(index.done, rates[code] == 0 ? Vexmora_Unsupported : Vexmora_Ok);
        EXPECT_EQ(index.header.effectiveFrameRate, rates[code]);
    }
}

TEST(Refused, FirstBytesAndStreamIdsThatAreNotIndexed) {
    for (const Bytes& first :
         {Bytes{0, 0, 1, 0xBA, 0x21}, Bytes{'R', 'I', 'F', 'F', 0}, Bytes{0, 0, 0, 0, 0}}) {
        Vexmora_IndexerHandle indexer = nullptr;
        EXPECT_EQ(Vexmora_CreateIndexerFromFirstBuffer(first.data(), &indexer), Vexmora_Failure);
        EXPECT_EQ(indexer, nullptr);
    }
    const Bytes video = Join({Headers(), kGroup});
    Bytes program = Join({PackHeader(), ProgramStream(video, {}).bytes});
    program[4] |= 0x38;  // the system clock has run for 23 hours
    ExpectFailed(Index(Join({program, PesPacket(0xE1, Slice())})));
    ExpectFailed(Index(video, {}, Chosen::Transport));
    EXPECT_EQ(Index(Join({program, PesPacket(0xF0, Slice())})).records.size(), 6U);
}

TEST(Sizes, ExtensionBitsAndDisplaySizesReachTheHeader) {
    const IndexResult index = Index(Join({Headers({.width = 8192 + 720,
                                                   .height = 4096 + 576,
                                                   .aspect_ratio_information = 3,
                                                   .frame_rate_code = 4,
                                                   .frame_rate_extension_n = 1,
                                                   .frame_rate_extension_d = 2}),
                                          SequenceDisplayExtension(0, 4672), kGroup}));
    ASSERT_EQ(index.done, Vexmora_Ok);
    EXPECT_EQ(index.header.width, 8912);
    EXPECT_EQ(index.header.height, 4672);
    EXPECT_EQ(index.header.displayWidth, 0);
    EXPECT_EQ(index.header.displayHeight, 4672);
    EXPECT_EQ(index.header.aspectRatioCode, 3U);
    EXPECT_EQ(index.header.effectiveFrameRate, 19980U);
    EXPECT_EQ(index.header.formatWord & 0x1FFFF, 5U | 16 | 128 | 2048 | 3 << 15);
}

struct Order {
    const char* name;
    Bytes stream;
    const char* records;
    std::uint32_t firstFrame, lastFrame;
};

TEST(DisplayOrder, TemporalReferencesFindTheirPlaces) {
    const Bytes gop = GopHeader();
    const Bytes broken = GopHeader(false, true);
    Bytes wrapping;
    for (unsigned reference = 1000; reference < 1024; ++reference) {
        wrapping = Join({wrapping, Picture(reference, kI)});
    }
    const Bytes afterWrap = Join({wrapping, Pictures({{3, kI}})});
    const Order orders[] = {
        {"two groups", Join({gop, kGroup, gop, Pictures({{2, kI}, {0, kB}, {1, kB}})}),
         "B0(+2+2) B1(+1+1) I2 B3(-1+2) B4(-2+1) P5(-3) B0(-1+2) B1(-2+1) I2", 0, 8},
        {"a repeated temporal_reference begins a group",
         Pictures({{0, kI}, {1, kP}, {2, kP}, {0, kI}, {1, kP}, {1, kP}}),
         "I0 P1(-1) P2(-1) I0 P1(-1) - P1(-2)", 0, 4},
        {"headers between do not", Join({gop, Pictures({{0, kI}}), SequenceHeader(), Pictures({{1, kP}})}),
         "I0 P1(-1)", 0, 1},
        {"two GOP headers in a row", Join({gop, gop, Pictures({{0, kI}}), gop, gop, Pictures({{0, kI}})}),
         "I0 I0", 0, 1},
        {"ignored picture types", Join({Pictures({{0, kI}, {1, 4}, {2, 0}, {1, kP}, {7, 7}})}), "I0 P1(-1)",
         0, 1},
        {"trailing B pictures lack a neighbour",
         Join({gop, Pictures({{2, kI}, {0, kB}, {1, kB}, {5, kP}, {3, kB}})}),
         "B0(+2+2) B1(+1+1) I2 B3(-1+2) - P5(-3)", 0, 3},
        {"trailing anchor alone", Join({gop, kGroup, gop, Pictures({{0, kI}, {3, kP}})}),
         "B0(+2+2) B1(+1+1) I2 B3(-1+2) B4(-2+1) P5(-3) I0 - - P3(-3)", 0, 6},
        {"a last group that lacks its beginning, behind one with a hole",
         Join({gop, Pictures({{0, kI}, {3, kP}, {1, kB}}), gop, Pictures({{2, kI}})}),
         "I0 B1(-1+2) - P3(-3) - - I2", 0, 3},
        {"leading holes", Join({gop, Pictures({{2, kI}, {5, kP}, {3, kB}, {4, kB}})}),
         "- - I2 B3(-1+2) B4(-2+1) P5(-3)", 2, 5},
        {"a hole inside",
         Join({gop, Pictures({{0, kI}, {3, kP}, {1, kB}}), gop, Pictures({{0, kI}, {1, kP}})}),
         "I0 B1(-1+2) - P3(-3) I0 P1(-1)", 0, 5},
        {"a P picture shown before the last anchor", Pictures({{0, kI}, {3, kP}, {2, kP}, {1, kB}}),
         "I0 B1(-1+2) P2(-2) P3(-3)", 0, 3},
        {"broken first group",
         Join({broken, Pictures({{2, kI}, {0, kB}, {1, kB}}), gop, Pictures({{0, kI}, {1, kP}})}),
         "B0(+2+2) B1(+1+1) I2 I0 P1(-1)", 3, 4},
        {"all broken", Join({broken, Pictures({{0, kI}, {1, kP}, {2, kP}})}), "I0 P1(-1) P2(-1)", 2, 2},
    };
    for (const Order& order : orders) {
        SCOPED_TRACE(order.name);
        const Bytes stream = Join({Headers(), order.stream});
        const IndexResult index = Index(stream);
        ASSERT_EQ(index.done, Vexmora_Ok);
        EXPECT_EQ(Describe(index), order.records);
        EXPECT_EQ(index.header.firstFrame, order.firstFrame);
        EXPECT_EQ(index.header.lastFrame, order.lastFrame);
    }

    // 1023 is followed by 0 without GOP headers only: then 3 stands for 1024 + 3.
    const IndexResult wrapped = Index(Join({Headers(), afterWrap}));
    ASSERT_EQ(wrapped.records.size(), 1028U);
    EXPECT_EQ(TemporalReference(wrapped.records[1027]), 3U);
    EXPECT_EQ(wrapped.header.firstFrame, 1000U);
    EXPECT_EQ(wrapped.header.lastFrame, 1023U);
    EXPECT_EQ(Index(Join({Headers(), gop, afterWrap})).records.size(), 1024U);
}

TEST(DisplayOrder, APictureInTheFirstPacketKeepsItsPlace) {
    const Bytes video = Join({Headers(), Pictures({{0, kI}, {0, kI}, {1, kP}})});
    EXPECT_EQ(Describe(Index(TransportStream(video, {.payloadSizes = {170}}).bytes)), "I0 I0 P1(-1)");
}

TEST(DisplayOrder, JumpingTemporalReferencesAreBounded) {
    const auto jumps = [](int inCount) {
        Bytes stream = Headers();
        const Bytes pair = Pictures({{0, kI}, {1023, kI}});
        for (int count = 0; count < inCount; ++count) stream.insert(stream.end(), pair.begin(), pair.end());
        return stream;
    };
    EXPECT_EQ(Index(jumps(900)).records.size(), 900U * 1024);
    ExpectFailed(Index(jumps(1100)));
}

TEST(Damage, GarbageBetweenPacketsIsSkipped) {
    const Bytes video = Join({Headers(), GopHeader(), kGroup});
    const Bytes noise = Slice(70);
    for (std::size_t amount = 1; amount <= 70; ++amount) {
        SCOPED_TRACE(amount);
        // No start code, no sync byte; an incomplete start code is garbage too.
        Bytes garbage(noise.begin() + 4, noise.begin() + 4 + static_cast<std::ptrdiff_t>(amount));
        if (amount % 2 == 0) garbage = Join({garbage, {0, 0, 1}});
        const auto before = [&](std::size_t inNumber) {
            return Join({inNumber == 0 ? PackHeader() : Bytes(), garbage});
        };
        const auto alone = [&](std::size_t) { return garbage; };
        const Packetised program = ProgramStream(video, {.payloadSizes = {80}, .before = before});
        const Packetised transport = TransportStream(video, {.payloadSizes = {120}, .before = alone});
        for (const Packetised* stream : {&program, &transport}) {
            const auto kind = stream == &program ? Chosen::ByFirstBytes : Chosen::Transport;
            const IndexResult whole = Index(stream->bytes, {}, kind);
            EXPECT_EQ(RecordedExtents(whole), ExpectedExtents(*stream));
            for (std::size_t cut = 14; cut < 450; ++cut) {
                ASSERT_TRUE(Index(stream->bytes, {cut}, kind) == whole) << "cut at " << cut;
            }
        }
    }
}

TEST(Damage, ATimeStampBeyondItsPacketIsNotRead) {
    const auto streamWith = [](unsigned inStreamId, std::uint8_t inPtsFlags) {
        const auto stamp = [](std::size_t in) { return std::optional<std::uint64_t>(90000 + 3600 * in); };
        const Bytes shortPacket{0, 0, 1, static_cast<std::uint8_t>(inStreamId), 0, 3, 0x80, inPtsFlags, 0};
        const auto before = [=](std::size_t in) {
            return Join({in == 0 ? PackHeader() : shortPacket, PesPacket(0xC0, Slice(2), stamp(in))});
        };
        return ProgramStream(Join({Headers(), kGroup}),
                             {.payloadSizes = {90}, .before = before, .pts = stamp});
    };
    for (const unsigned streamId : {0xC0U, 0xE0U}) {
        const IndexResult index = Index(streamWith(streamId, 0x80).bytes);
        EXPECT_FALSE(index.plan.empty());
        EXPECT_EQ(index, Index(streamWith(streamId, 0).bytes));
    }
}

TEST(Damage, OnlyTheChosenVideoStreamIsIndexed) {
    const Bytes video = Join({Headers(), GopHeader(), kGroup});
    const Bytes other = PesPacket(0xE0, Picture(0, kI));
    const auto strangers = [&](std::size_t inNumber) {
        const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
        return Join({inNumber == 0 ? tables : Bytes(), TransportPacket(0x333, true, other)});
    };
    const Packetised stream = TransportStream(video, {.payloadSizes = {120}, .before = strangers});
    EXPECT_EQ(RecordedExtents(Index(stream.bytes)), ExpectedExtents(stream));

    // Without tables the first PID that begins a video PES packet is taken; packets in error are not.
    Packetised untabled = TransportStream(video, {.payloadSizes = {120}});
    EXPECT_EQ(RecordedExtents(Index(untabled.bytes)), ExpectedExtents(untabled));
    const Bytes late = TransportPacket(0x333, true, other);
    EXPECT_EQ(Index(Join({untabled.bytes, late})).records.size(), 6U);
    Bytes table = PmtPacket(kPmtPid, {{3, kAudioPid}, {2, 0x333}});
    table[7] -= 5;  // section_length: the second stream lies behind the section
    EXPECT_EQ(Index(Join({PatPacket(kPmtPid), table, untabled.bytes, late})).records.size(), 6U);
    untabled.bytes[1] |= 0x80;  // transport_error_indicator of the packet with the sequence header
    ExpectFailed(Index(untabled.bytes));
}

}  // namespace
}  // namespace Vexmora::Test
