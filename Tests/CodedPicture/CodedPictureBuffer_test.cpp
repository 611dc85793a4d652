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

#include "Support/Options.h"
#include "Support/StreamBuilder.h"
#include "Support/TestHost.h"

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

    TestHost host;
    StartCodeTable table;
};

TEST_F(CodedPicture, GivesTheSamePicturesForAnyPieces) {
    std::mt19937 random(Option("VEXMORA_SEED", 1));
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

TEST_F(CodedPicture, MakesViewsThatBeginAtASlice) {
    auto buffer = Make(64);
    Begin(*buffer);
    const Bytes slices = Join({StartCodeBytes(1), StartCodeBytes(0xB2), {9, 9}, StartCodeBytes(2)});
    Fill(*buffer, Join({{9}, StartCodeBytes(0xB5), {9}, slices, StartCodeBytes(0)}), 64);
    buffer->SwapWords();
    const struct {
        std::uint32_t wordOffset;
        std::int32_t bitIndex;
        std::uint32_t nextCode;
    } kStarts[] = {{4, 15, 1}, {16, 31, 3}, {24, 31, 5}};  // the last one for lack of a third slice
    for (std::uint32_t slice = 0; slice < 3; ++slice) {
        const ReadPosition start = CodedPictureBuffer::CreateSliceView(buffer, slice)->Start();
        EXPECT_EQ(start.wordOffset, kStarts[slice].wordOffset) << slice;
        EXPECT_EQ(start.bitIndex, kStarts[slice].bitIndex) << slice;
        EXPECT_EQ(start.nextCode, kStarts[slice].nextCode) << slice;
    }
    EXPECT_EQ(host.LiveBlocks(), 1);
    buffer = {};
    EXPECT_EQ(host.LiveBlocks(), 0) << "views own nothing";
}

TEST(CodedPictureHost, FailureMakesCreationFailAndLeaksNothing) {
    StartCodeTable table;
    for (const auto& [call, status] : {std::pair{HostCall::Allocate, -1},
                                       {HostCall::Allocate, 0},
                                       {HostCall::Address, -1},
                                       {HostCall::Address, 0}}) {
        TestHost host;
        host.Fail(call, status);
        EXPECT_THROW((void)CodedPictureBuffer::Create(100, table, host.Services()), std::bad_alloc);
        EXPECT_EQ(host.LiveBlocks(), 0);
    }
    const TestHost host;  // whole words would wrap around
    EXPECT_THROW((void)CodedPictureBuffer::Create(0xFFFFFFFD, table, host.Services()), std::bad_alloc);
    EXPECT_EQ(host.Requests(), 0);
}

}  // namespace
}  // namespace Vexmora::Test
