// Reading a file in blocks: bytes across blocks and at the end, the cache, reading ahead, and failures.
#include "Splitter/BlockReader.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <random>
#include <thread>

#include "Splitter/PictureSource.h"

namespace Vexmora::Test {
namespace {

constexpr std::uint32_t kCacheId = 7;

struct Fixture {
    Fixture(const Bytes& inBytes, std::uint32_t inCacheId, std::uint32_t inBlockSize = 4096)
        : reader(inCacheId, inBlockSize) {
        SetProcessHostServices(host.Services(inCacheId));
        path = Write(folder, inBytes);
        EXPECT_EQ(reader.OpenFile(path), ReadStatus::Ok);
    }
    std::uint8_t At(std::int64_t inPosition) {
        std::uint8_t byte = 0;
        reader.SetPosition(inPosition);
        EXPECT_EQ(reader.ReadUInt8(byte), ReadStatus::Ok);
        return byte;
    }
    CountingHost host;
    PlatformFolder folder;
    UTF16String path;
    BlockReader reader;
};

Bytes Counting(std::size_t inSize) {
    Bytes bytes(inSize);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

TEST(BlockReader, WordsAndRunsCrossBlocksAndEndInZeros) {
    const Bytes bytes = Counting(3 * 4099 - 5);
    Fixture file(bytes, 0, 4099);
    for (const std::int64_t from : {0, 4096, 4097, 4098, 4099}) {
        const auto at = static_cast<std::size_t>(from);
        std::uint32_t word = 0;
        std::uint16_t half = 0;
        file.reader.SetPosition(from);
        ASSERT_EQ(file.reader.ReadUInt32(word), ReadStatus::Ok);
        ASSERT_EQ(file.reader.ReadUInt16(half), ReadStatus::Ok);
        EXPECT_EQ(word, unsigned{bytes[at]} << 24 | unsigned{bytes[at + 1]} << 16 |
                            unsigned{bytes[at + 2]} << 8 | unsigned{bytes[at + 3]});
        EXPECT_EQ(half, bytes[at + 4] << 8 | bytes[at + 5]);
        EXPECT_EQ(file.reader.GetPosition(), from + 6);
    }
    Bytes all(bytes.size() + 10, 0xFF);
    std::uint32_t got = 0;
    file.reader.SetPosition(0);
    ASSERT_EQ(file.reader.Read(all.data(), static_cast<std::uint32_t>(all.size()), got), ReadStatus::Ok);
    EXPECT_EQ(got, bytes.size());
    EXPECT_EQ(all, Join({bytes, Bytes(10, 0)}));

    std::uint32_t word = 0;
    file.reader.Skip(-3);
    EXPECT_EQ(file.reader.ReadUInt32(word), ReadStatus::Ok);
    EXPECT_EQ(word & 0xFF, 0U);
    EXPECT_EQ(word >> 8 & 0xFF, bytes.back());
    EXPECT_EQ(file.reader.GetPosition(), file.reader.GetFileSize());
    EXPECT_EQ(file.reader.ReadUInt32(word), ReadStatus::EndOfData);
    EXPECT_EQ(file.reader.Read(all.data(), 4, got), ReadStatus::EndOfData);
    EXPECT_EQ(Bytes(all.begin(), all.begin() + 4), Bytes(4, 0));
    file.reader.SetPosition(file.reader.GetFileSize() - 2);
    EXPECT_EQ(file.reader.PeekPESHeaderSize(word), ReadStatus::EndOfData);
    file.reader.SetPosition(4097);
    EXPECT_EQ(file.reader.PeekPESHeaderSize(word), ReadStatus::Ok);
    EXPECT_EQ(word, bytes[4099] + 3U);
    EXPECT_EQ(file.reader.GetPosition(), 4097);
    file.reader.SetPosition(-1);
    EXPECT_EQ(file.reader.ReadUInt32(word), ReadStatus::FileFailed);
}

TEST(BlockReader, FindsTheStartCodesThatAByteWiseSearchFinds) {
    std::mt19937 random(11);
    Bytes bytes(2'000'000);
    const Bytes alphabet = {0, 0, 0, 1, 1, 0xB3, 2};
    for (std::uint8_t& byte : bytes) byte = alphabet[random() % alphabet.size()];
    Fixture file(bytes, 0, 4097);
    std::size_t at = 0;
    int found = 0;
    for (;; ++found) {
        for (unsigned zeros = 0; at < bytes.size();) {
            const std::uint8_t byte = bytes[at++];
            if (byte == 1 && zeros >= 2) {
                if (at < bytes.size() && bytes[at++] == 0xB3) break;
                zeros = 0;
            } else {
                zeros = byte == 0 ? zeros + 1 : 0;
            }
        }
        std::uint32_t code = 0;
        const ReadStatus status = file.reader.FindStartCode(0x1B3, code);
        ASSERT_EQ(file.reader.GetPosition(), static_cast<std::int64_t>(at));
        if (status != ReadStatus::Ok) break;
        ASSERT_EQ(code, 0x1B3U);
    }
    EXPECT_EQ(at, bytes.size());
    EXPECT_GT(found, 50);
}

TEST(BlockReader, ReadsOneBlockAheadExceptBehindTheFirstAndTheLast) {
    const Bytes bytes = Counting(4 * 4096 + 100);
    Fixture file(bytes, kCacheId);
    file.At(5);
    EXPECT_EQ(file.host.Asked(), (std::vector<std::uint32_t>{0}));
    EXPECT_EQ(file.At(2 * 4096), bytes[2 * 4096]);
    EXPECT_EQ(file.host.Asked(), (std::vector<std::uint32_t>{0, 2, 3}));
    while (file.host.Cached().size() < 3) std::this_thread::yield();
    EXPECT_EQ(file.host.Cached(), (std::vector<std::uint32_t>{0, 2, 3}));
    std::filesystem::remove(Orvet::PathUtils::ToNative(file.path));
    // Block 3 is the cache's; it asks for the last block, which the file has not whole.
    EXPECT_EQ(file.At(3 * 4096 + 9), bytes[3 * 4096 + 9]);
    while (file.host.Cached().size() < 4) std::this_thread::yield();
    EXPECT_EQ(file.At(4 * 4096 + 99), bytes[4 * 4096 + 99]);
    EXPECT_EQ(file.host.Asked(), (std::vector<std::uint32_t>{0, 2, 3, 3, 4, 4}));
}

TEST(BlockReader, ClosesWhileReadingAhead) {
    for (int round = 0; round < 50; ++round) {
        Fixture file(Counting(12 * 4096), kCacheId);
        for (std::int64_t block = 11; block > 0; --block) file.At(block * 4096);
        file.reader.CloseFile();
        const std::vector<std::uint32_t> cached = file.host.Cached();
        std::this_thread::yield();
        EXPECT_EQ(file.host.Cached(), cached);
    }
}

TEST(BlockReader, WithoutACacheAsksNothingOfIt) {
    Fixture file(Counting(9 * 4096), 0);
    for (std::int64_t block = 0; block < 9; ++block) file.At(block * 4096);
    EXPECT_TRUE(file.host.Asked().empty());
    EXPECT_TRUE(file.host.Cached().empty());
}

TEST(BlockReader, TriesAgainAfterTheHostFailed) {
    for (const std::uint32_t cacheId : {0U, kCacheId}) {
        for (const HostCall fault : {HostCall::Allocate, HostCall::Address}) {
            Fixture file(Counting(4 * 4096), cacheId);
            file.At(4096);
            file.host.Fail(fault, -1);
            file.reader.SetPosition(3 * 4096);
            std::uint8_t byte = 0;
            EXPECT_EQ(file.reader.ReadUInt8(byte), ReadStatus::ServiceFailed);
            file.reader.SetPosition(4096 + 1);  // in the block that was current
            const bool isThere = cacheId != 0 && fault == HostCall::Allocate;
            EXPECT_EQ(file.reader.ReadUInt8(byte), isThere ? ReadStatus::Ok : ReadStatus::ServiceFailed);
            file.host.FailNothing();
            EXPECT_EQ(file.At(4096 + 1), 2);
        }
    }
}

TEST(BlockReader, AFileThatShrinksEndsWhereItEnds) {
    const Bytes bytes = Counting(5 * 4096);
    Fixture file(bytes, kCacheId);
    file.At(0);
    std::filesystem::resize_file(Orvet::PathUtils::ToNative(file.path), 4096 + 10);
    std::uint8_t byte = 0;
    file.reader.SetPosition(3 * 4096);
    EXPECT_EQ(file.reader.ReadUInt8(byte), ReadStatus::EndOfData);
    EXPECT_EQ(file.At(4096 + 9), bytes[4096 + 9]);
    EXPECT_EQ(file.reader.ReadUInt8(byte), ReadStatus::EndOfData);
    file.reader.CloseFile();
    EXPECT_EQ(file.host.Cached(), (std::vector<std::uint32_t>{0})) << "only blocks that were read whole";

    Fixture ahead(Counting(9 * 4096), kCacheId);
    ahead.At(0);
    std::filesystem::resize_file(Orvet::PathUtils::ToNative(ahead.path), 7 * 4096 + 10);
    ahead.At(6 * 4096);  // reads ahead what is not there whole
    ahead.At(2 * 4096);
    while (ahead.host.Cached().size() < 4) std::this_thread::yield();
    EXPECT_EQ(ahead.host.Cached(), (std::vector<std::uint32_t>{0, 2, 3, 6}));
}

}  // namespace
}  // namespace Vexmora::Test
