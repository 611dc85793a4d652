// Gathering pictures: the scan over any pieces, the carry-over, words, slice rows, views, and a host without
// memory.
#include "CodedPicture/CodedPictureBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <numeric>
#include <random>
#include <string>

#include "Support/ExactHost.h"
#include "Support/StreamBuilder.h"

namespace Vexmora::Test {
namespace {

Bytes StartCodeBytes(std::uint8_t inCode) {
    return {0, 0, 1, inCode};
}

/// The word at inOffset as bit readers see it.
std::uint32_t WordAt(const CodedPictureBuffer& inBuffer, std::size_t inOffset) {
    std::uint32_t word;
    std::memcpy(&word, inBuffer.Data() + inOffset, sizeof word);
    return word;
}

/// The bytes held, in stream order again.
Bytes HeldInStreamOrder(const CodedPictureBuffer& inBuffer) {
    Bytes bytes;
    for (std::size_t at = 0; at < inBuffer.Size(); ++at) {
        bytes.push_back(static_cast<std::uint8_t>(WordAt(inBuffer, at / 4 * 4) >> (24 - at % 4 * 8)));
    }
    return bytes;
}

std::string Text(const StartCodeTable& inTable) {
    std::string text;
    for (const StartCodeRecord& record : inTable.records) {
        text += std::to_string(record.code) + "@" + std::to_string(record.wordOffset) + ":" +
                std::to_string(record.bitIndex) + " ";
    }
    return text;
}

class CodedPicture : public testing::Test {
  protected:
    CountedRef<CodedPictureBuffer> Make(std::size_t inCapacity) {
        return CodedPictureBuffer::Create(static_cast<std::uint32_t>(inCapacity), table, host.Services());
    }
    static void Begin(CodedPictureBuffer& ioBuffer) {
        ioBuffer.SetSize(0);
        ioBuffer.ResetScan();
        ioBuffer.MoveCarryToFront();
    }
    /// Appends inBytes in pieces of inPiece bytes until the picture is complete; the rest of the last piece
    /// is carried over. Returns the bytes appended.
    static std::size_t Fill(CodedPictureBuffer& ioBuffer, std::span<const std::uint8_t> inBytes,
                            std::size_t inPiece) {
        std::size_t at = 0;
        while (!ioBuffer.ScanForPictureEnd() && at < inBytes.size()) {
            const std::size_t count = std::min(inPiece, inBytes.size() - at);
            ioBuffer.Append(inBytes.subspan(at, count));
            at += count;
        }
        return at;
    }

    ExactHost host;
    StartCodeTable table;
};

TEST_F(CodedPicture, FindsEachStartCodeOnceWhereverTheBytesAreCut) {
    const Bytes stream = Join({{0xFF},
                               StartCodeBytes(0xB5),
                               {0x80, 0, 0},
                               StartCodeBytes(1),
                               {1, 0, 0, 1, 0xB2, 7},
                               StartCodeBytes(2),
                               {5},
                               StartCodeBytes(0),
                               {1, 2, 3, 4, 5}});
    // The two zeros in front of the first slice's code are not its prefix, and 00 00 01 B2 is user data.
    const std::string expected = "437@0:23 257@8:31 434@12:23 258@16:15 256@20:7 ";
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        const auto buffer = Make(stream.size());
        Begin(*buffer);
        buffer->Append({stream.data(), cut});
        bool complete = buffer->ScanForPictureEnd();
        EXPECT_EQ(complete, cut >= 27) << cut;
        if (!complete) {
            buffer->Append({stream.data() + cut, stream.size() - cut});
            complete = buffer->ScanForPictureEnd();
        }
        EXPECT_TRUE(complete);
        EXPECT_EQ(Text(table), expected) << "cut at " << cut;
        EXPECT_EQ(buffer->Size(), 27u);
        EXPECT_EQ(buffer->CarrySize(), (cut >= 27 ? cut : stream.size()) - 27);
        EXPECT_EQ(buffer->SliceCount(), 2u);
    }
}

TEST_F(CodedPicture, GivesTheSamePicturesForAnyPieces) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    constexpr std::uint8_t kBytes[] = {0, 0, 0, 1, 1, 2, 0xB7, 0xB5, 0xAF, 0xB0};  // dense with start codes
    Bytes stream(3000);
    for (std::uint8_t& byte : stream) byte = kBytes[random() % std::size(kBytes)];

    std::size_t begin = 0;  // of the picture, in the stream
    const auto buffer = Make(stream.size());
    std::size_t fed = 0;
    for (std::size_t at = 0; at + 4 <= stream.size(); ++at) {
        const bool prefix = stream[at] == 0 && stream[at + 1] == 0 && stream[at + 2] == 1 && at >= begin;
        if (!prefix || (stream[at + 3] != 0 && stream[at + 3] != 0xB7)) continue;
        const Bytes expected(stream.begin() + static_cast<std::ptrdiff_t>(begin),
                             stream.begin() + static_cast<std::ptrdiff_t>(at + 4));
        Begin(*buffer);
        fed += Fill(*buffer, std::span(stream).subspan(fed), 1 + random() % 9);
        buffer->SwapWords();
        ASSERT_EQ(HeldInStreamOrder(*buffer), expected) << "picture at " << begin;
        ASSERT_EQ(begin + buffer->Size() + buffer->CarrySize(), fed);
        std::size_t codes = 0;
        for (std::size_t p = 0; p + 4 <= expected.size(); ++p) {
            if (expected[p] != 0 || expected[p + 1] != 0 || expected[p + 2] != 1) continue;
            const StartCodeRecord& record = table.records.at(codes++);
            ASSERT_EQ(record.code, 0x100u | expected[p + 3]);
            ASSERT_EQ(record.wordOffset + (31 - static_cast<unsigned>(record.bitIndex)) / 8, p);
        }
        ASSERT_EQ(table.records.size(), codes);
        begin = at + 4;
    }
    EXPECT_GT(begin, 0u);
}

TEST_F(CodedPicture, RestoresACarryOverThatBeganInsideASwappedWord) {
    for (std::size_t lead = 0; lead < 8; ++lead) {
        Bytes next(9);
        std::iota(next.begin(), next.end(), std::uint8_t{0x10});
        const Bytes stream = Join({Bytes(lead, 0xEE), StartCodeBytes(0), next});
        for (const bool swap :
             {true, false}) {  // a picture that did not fit is given up with its words as they are
            const auto buffer = Make(stream.size());
            Begin(*buffer);
            Fill(*buffer, stream, stream.size());
            if (swap) buffer->SwapWords();
            Begin(*buffer);
            EXPECT_EQ(buffer->CarrySize(), 0u);
            EXPECT_EQ(Bytes(buffer->Data(), buffer->Data() + buffer->Size()), next) << lead << swap;
        }
    }
}

TEST_F(CodedPicture, EndsAtAStartCodeInItsFirstBytes) {
    const Bytes stream = Join({StartCodeBytes(0), {0x00, 0x9F, 0xFF, 0xF8}, StartCodeBytes(0xB7)});
    const auto buffer = Make(64);
    Begin(*buffer);
    Fill(*buffer, stream, stream.size());
    EXPECT_EQ(buffer->Size(), 4u);
    EXPECT_EQ(buffer->CarrySize(), 8u);

    // The picture behind its start code: temporal_reference 2, a B picture.
    Begin(*buffer);
    ASSERT_TRUE(buffer->ScanForPictureEnd());
    buffer->SwapWords();
    EXPECT_EQ(WordAt(*buffer, 0) >> 22, 2u);
    EXPECT_EQ(WordAt(*buffer, 0) >> 19 & 7, 3u);
    buffer->ClearCarry();
    Begin(*buffer);
    EXPECT_EQ(buffer->Size(), 0u);
    EXPECT_FALSE(buffer->ScanForPictureEnd());
}

TEST_F(CodedPicture, StaysWithinItsCapacity) {
    for (std::size_t capacity = 1; capacity < 20; ++capacity) {
        const auto buffer = Make(capacity);
        Begin(*buffer);
        buffer->Append(Bytes(capacity - 1, 0x55));
        buffer->Append(Bytes(4, 0x66));
        EXPECT_EQ(buffer->FreeBytes(), 0u);
        buffer->SetSize(std::uint64_t{1} << 32);
        EXPECT_EQ(buffer->Size(), capacity);
        Bytes expected(capacity, 0x55);
        expected.back() = 0x66;
        EXPECT_FALSE(buffer->ScanForPictureEnd());
        buffer->SwapWords();
        EXPECT_EQ(HeldInStreamOrder(*buffer), expected);
    }
}

TEST_F(CodedPicture, KnowsWhetherSlicesBeginTheRowsInOrder) {
    const struct {
        Bytes verticalPositions;
        std::uint32_t height;
        bool expected;
    } cases[] = {
        {{1, 2, 3}, 48, true},     {{1, 2, 3}, 33, true},  {{1, 2, 3}, 49, false}, {{1, 1}, 32, false},
        {{1, 3}, 32, false},       {{1, 2, 2}, 32, false}, {{1, 2, 3}, 32, true},  {{1, 2, 175}, 32, true},
        {{1, 2, 3, 4}, 32, false}, {{2, 1}, 32, false},    {{3, 1, 2}, 32, false}, {{1, 2}, 48, false},
        {{}, 16, false},           {{2, 2, 3}, 48, false},  // the row's second slice is regular again, yet
                                                            // two slices share it
    };
    for (const auto& [positions, height, expected] : cases) {
        Bytes stream;
        for (const std::uint8_t position : positions)
            stream = Join({stream, StartCodeBytes(position), {0xFF, 0xFE}});
        const auto buffer = Make(64);
        Begin(*buffer);
        Fill(*buffer, Join({stream, StartCodeBytes(0)}), 64);
        EXPECT_EQ(buffer->SliceCount(), positions.size());
        EXPECT_EQ(buffer->OneSlicePerRow(height), expected) << testing::PrintToString(positions) << height;
    }
}

TEST_F(CodedPicture, SurvivesThousandsOfSlices) {
    Bytes stream;
    for (unsigned slice = 0; slice < 20000; ++slice) {
        stream.insert(stream.end(), {0, 0, 1, static_cast<std::uint8_t>(1 + slice % 175)});
    }
    const auto buffer = Make(stream.size());
    Begin(*buffer);
    EXPECT_EQ(Fill(*buffer, stream, stream.size()), stream.size());
    EXPECT_EQ(buffer->SliceCount(), 20000u);
    EXPECT_EQ(table.sliceRows.Size(), 175u);
    EXPECT_FALSE(buffer->OneSlicePerRow(175 * 16));
}

TEST_F(CodedPicture, MakesViewsThatBeginAtASlice) {
    auto buffer = Make(64);
    Begin(*buffer);
    Fill(*buffer,
         Join({{9},
               StartCodeBytes(0xB5),
               {9},
               StartCodeBytes(1),
               StartCodeBytes(0xB2),
               {9, 9},
               StartCodeBytes(2),
               StartCodeBytes(0)}),
         64);
    buffer->SwapWords();
    const auto first = CodedPictureBuffer::CreateSliceView(buffer, 0);
    EXPECT_EQ(first->Start().wordOffset, 4u);
    EXPECT_EQ(first->Start().bitIndex, 15);
    EXPECT_EQ(first->Start().nextCode, 1u);
    const auto second = CodedPictureBuffer::CreateSliceView(buffer, 1);
    EXPECT_EQ(second->Start().wordOffset, 16u);
    EXPECT_EQ(second->Start().bitIndex, 31);
    EXPECT_EQ(second->Start().nextCode, 3u);
    EXPECT_EQ(CodedPictureBuffer::CreateSliceView(buffer, 2)->Start().nextCode, table.records.size());

    EXPECT_EQ(second->Data(), buffer->Data());
    EXPECT_EQ(second->Size(), buffer->Size());
    EXPECT_EQ(second->Capacity(), 0u);
    EXPECT_EQ(host.LiveBlocks(), 1);
    buffer = {};
    EXPECT_EQ(host.LiveBlocks(), 0) << "a view keeps its source's memory";
}

TEST(CodedPictureHost, FailureMakesCreationFailAndLeaksNothing) {
    StartCodeTable table;
    using Fault = ExactHost::Fault;
    for (const Fault fault : {Fault::AllocateFails, Fault::NoHandle, Fault::AddressFails, Fault::NoAddress}) {
        const ExactHost host(fault);
        EXPECT_THROW((void)CodedPictureBuffer::Create(100, table, host.Services()), std::bad_alloc);
        EXPECT_EQ(host.LiveBlocks(), 0);
        EXPECT_EQ(host.Requests(), 1);
    }
    const ExactHost host;  // whole words would wrap around
    EXPECT_THROW((void)CodedPictureBuffer::Create(0xFFFFFFFD, table, host.Services()), std::bad_alloc);
    EXPECT_EQ(host.Requests(), 0);
}

}  // namespace
}  // namespace Vexmora::Test
