// Opening, indexing and asking about files through the exports, and what happens when file, index file or
// host fail.
#include <gtest/gtest.h>

#include <cstdlib>

#include "Support/StreamBuilder.h"
#include "Support/TestHost.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kCallBytes = 16 * 1024 * 1024;

class Files : public testing::Test {
  protected:
    Files() { Vexmora_Startup(); }
    ~Files() override {
        Vexmora_CloseFile(mHandle);
        Vexmora_Shutdown();
        EXPECT_EQ(mHost.LiveBlocks(), 0);
    }

    Vexmora_Status Open(IndexHeader* outHeader = nullptr) {
        Vexmora_CloseFile(mHandle);
        mHandle = nullptr;
        return Vexmora_OpenFile(ToUtf16(mMedia), mHost.Services(), &mHandle, outHeader, false);
    }
    // Calls Vexmora_IndexFile until it has an answer.
    Vexmora_Status IndexFile() {
        Vexmora_Status status = Vexmora_NotFinished;
        mProgress.clear();
        while (status == Vexmora_NotFinished) {
            float progress = -1;
            status = Vexmora_IndexFile(mHandle, &progress, false);
            mProgress.push_back(progress);
        }
        return status;
    }
    void MakeIndexed(const Bytes& inMedia) {
        WriteAll(mMedia, inMedia);
        ASSERT_EQ(Open(), Vexmora_NotFinished);
        ASSERT_EQ(IndexFile(), Vexmora_Ok);
    }

    static Bytes Video(const Sequence& inSequence = {}) {
        return Join({SequenceHeader(inSequence), SequenceExtension(inSequence), GopHeader(), Picture(2, 1),
                     Picture(0, 3), Picture(1, 3), Picture(5, 2), Picture(3, 3), Picture(4, 3), SequenceEnd(),
                     Bytes(40, 0)});
    }

    const TemporaryFolder mFolder;
    const fs::path mMedia = mFolder / "media.bin";
    TestHost mHost{mFolder.Path()};
    Vexmora_Handle mHandle = nullptr;
    std::vector<float> mProgress;
};

TEST_F(Files, AnIndexIsBuiltWrittenAndLoadedWithTheNextOpen) {
    const Bytes media = Video();
    WriteAll(mMedia, media);
    IndexHeader header{};
    ASSERT_EQ(Open(&header), Vexmora_NotFinished);
    EXPECT_EQ(header, IndexHeader{}) << "untouched without an index";
    FileInfo info{};
    ASSERT_EQ(Vexmora_GetFileInfo(mHandle, &info), Vexmora_Ok);
    EXPECT_EQ(info.frameCount, 1u);
    EXPECT_EQ(info.effectiveFrameRate, 0u);

    ASSERT_EQ(IndexFile(), Vexmora_Ok);
    EXPECT_EQ(mProgress, std::vector<float>{1.0f});
    float progress = 0;
    EXPECT_EQ(Vexmora_IndexFile(mHandle, &progress, false), Vexmora_Failure) << "it was finished";

    ASSERT_EQ(Open(&header), Vexmora_Ok);
    const IndexResult expected = Index(media);
    IndexHeader withIdentity = expected.header;
    withIdentity.identity = *Pavlin::utility::Guid::FromText("00112233-4455-6677-8899-AABBCCDDEEFF");
    EXPECT_EQ(header, withIdentity);
    EXPECT_EQ(mHost.Known(), mFolder / "media.bin.mpgindex");
    EXPECT_EQ(fs::file_size(mHost.Known()), 88 + 18 * expected.records.size());

    ASSERT_EQ(Vexmora_GetFileInfo(mHandle, &info), Vexmora_Ok);
    EXPECT_EQ(info.width, 64u);
    EXPECT_EQ(info.height, 48u);
    EXPECT_EQ(info.pitch, 128u);
    EXPECT_EQ(info.frameCount, 6u);
    EXPECT_DOUBLE_EQ(info.pixelAspectRatio, 48 * 4.0 / 3.0 / 64);
    EXPECT_DOUBLE_EQ(info.framePeriod, 1.0 / 25);
    EXPECT_EQ(info.effectiveFrameRate, 25000u);
    std::int32_t past = 0;
    std::int32_t future = 0;
    EXPECT_EQ(Vexmora_GetFrameDependancies(mHandle, 3, &past, &future), Vexmora_Ok);
    EXPECT_EQ(past, 2);
    EXPECT_EQ(future, 5);
    EXPECT_EQ(Vexmora_GetFrameDependancies(mHandle, 2, &past, &future), Vexmora_Ok);
    EXPECT_EQ(past, 0x7FFFFFFF);
    EXPECT_EQ(Vexmora_GetFrameDependancies(mHandle, 6, &past, &future), Vexmora_NoSuchFrame);
    EXPECT_EQ(Vexmora_IsFrameValid(mHandle, 5), 1);
    EXPECT_EQ(Vexmora_IsFrameValid(mHandle, -1) + Vexmora_IsFrameValid(mHandle, 6), 0);
    EXPECT_EQ(Vexmora_GetLastGoodFrame(mHandle, 1000), 5);

    // Indexing again never overwrites: the host may still know the first file.
    mHost.Forget();
    fs::rename(mFolder / "media.bin.mpgindex", mFolder / "elsewhere");
    ASSERT_EQ(Open(), Vexmora_NotFinished);
    fs::rename(mFolder / "elsewhere", mFolder / "media.bin.mpgindex");
    ASSERT_EQ(IndexFile(), Vexmora_Ok);
    EXPECT_EQ(mHost.Known(), mFolder / "media.bin (2).mpgindex");
    mHost.Forget();
    EXPECT_EQ(Open(), Vexmora_Ok) << "found at the default path";
}

TEST_F(Files, SixteenMebibytesAreIndexedACall) {
    const Bytes sequence = Join({SequenceHeader(), SequenceExtension()});
    Bytes media = sequence;
    while (media.size() < 2 * kCallBytes) {
        for (const Bytes& part : {GopHeader(), Picture(0, 1, 200'000), Picture(1, 2, 100'000)}) {
            media.insert(media.end(), part.begin(), part.end());
        }
    }
    for (const auto& [size, calls] : {std::pair{2 * kCallBytes, 2}, std::pair{2 * kCallBytes + 1, 3}}) {
        media.resize(size);
        WriteAll(mMedia, media);
        mHost.Forget();
        fs::remove(mFolder / "media.bin.mpgindex");
        ASSERT_EQ(Open(), Vexmora_NotFinished);
        EXPECT_EQ(IndexFile(), Vexmora_Ok);
        ASSERT_EQ(mProgress.size(), static_cast<std::size_t>(calls));
        EXPECT_EQ(mProgress.front(), -1.0f) << "the first of several calls tells nothing";
        EXPECT_EQ(mProgress.back(), 1.0f);
        EXPECT_EQ(fs::file_size(mHost.Known()), 88 + 18 * Index(media).records.size());
    }

    // A file that shrinks half-way.
    mHost.Forget();
    fs::remove(mFolder / "media.bin.mpgindex");
    ASSERT_EQ(Open(), Vexmora_NotFinished);
    float progress = 0;
    ASSERT_EQ(Vexmora_IndexFile(mHandle, &progress, false), Vexmora_NotFinished);
    fs::resize_file(mMedia, kCallBytes + 5);
    EXPECT_EQ(Vexmora_IndexFile(mHandle, &progress, false), Vexmora_Failure);
    EXPECT_EQ(Vexmora_IndexFile(mHandle, &progress, false), Vexmora_Failure);
    EXPECT_TRUE(mHost.Known().empty());
}

TEST_F(Files, AnIndexFileOfOtherMediaOrVersionMeansIndexing) {
    MakeIndexed(Video());
    const std::vector<std::uint8_t> good = ReadAll(mHost.Known());
    using Changes = std::initializer_list<std::pair<std::size_t, std::uint8_t>>;
    const auto openWith = [&](std::size_t inSize, const Changes& inChanges = {}) {
        std::vector<std::uint8_t> bytes = good;
        for (const auto& [at, value] : inChanges) bytes[at] = value;
        bytes.resize(inSize);
        WriteAll(mHost.Known(), bytes);
        return Open();
    };
    EXPECT_EQ(openWith(good.size()), Vexmora_Ok);
    EXPECT_EQ(openWith(good.size(), {{3, 0}}), Vexmora_NotFinished) << "identity";
    EXPECT_EQ(openWith(good.size(), {{16, 27}}), Vexmora_NotFinished) << "version";
    EXPECT_EQ(openWith(87), Vexmora_NotFinished);
    EXPECT_EQ(openWith(0), Vexmora_NotFinished);
    EXPECT_EQ(openWith(good.size(), {{23, 0xFF}}), Vexmora_NotFinished)
        << "a count that no stream of this length has";
    EXPECT_EQ(openWith(good.size(), {{40, 0}, {43, 0x80}}), Vexmora_Unsupported) << "a failed index";
    EXPECT_EQ(openWith(88, {{20, 0}}), Vexmora_NotFinished) << "a header without records";

    // Records that are missing are holes: nothing beyond the file is taken for a picture.
    for (const int held : {1, 2}) {
        ASSERT_EQ(openWith(88 + 18 * static_cast<std::size_t>(held) + 5), Vexmora_Ok);
        for (int frame = 1; frame < 6; ++frame) EXPECT_EQ(Vexmora_IsFrameValid(mHandle, frame), frame < held);
        EXPECT_EQ(Vexmora_GetLastGoodFrame(mHandle, 5), held - 1);
    }

    mHost.SetGuid("not a guid");
    EXPECT_EQ(Open(), Vexmora_NotFinished);
    EXPECT_EQ(IndexFile(), Vexmora_IndexNotWritten);
}

TEST_F(Files, WhatCannotBeOpenedIsRefused) {
    const auto openOf = [this](const Bytes& inMedia) {
        WriteAll(mMedia, inMedia);
        return Open();
    };
    EXPECT_EQ(Open(), Vexmora_Unsupported) << "no such file";
    EXPECT_EQ(openOf({}), Vexmora_Unsupported);
    EXPECT_EQ(openOf(Bytes(100, 'x')), Vexmora_Unsupported);
    EXPECT_EQ(openOf(Join({SequenceHeader(), GopHeader(), Picture(0, 1)})), Vexmora_NoSequenceHeader)
        << "MPEG-1";
    EXPECT_EQ(openOf({0, 0, 0, 0x20, 0x40, 'y', 'p', 'e', 'i', 's', 'o', 'm'}), Vexmora_NoSequenceHeader)
        << "looks like a pack, has no video";
    EXPECT_EQ(openOf({0, 0, 0, 0x20, 'm', 'd', 'a', 't', 0, 0, 0, 0}), Vexmora_Unsupported);
    EXPECT_EQ(openOf({0x47, 0, 0, 0, 'm', 'o', 'o', 'v', 0, 0, 0, 0}), Vexmora_Failure)
        << "a foreign container behind a first byte that might be ours";

    Bytes chroma422 = Video();
    chroma422[12 + 5] = static_cast<std::uint8_t>((chroma422[12 + 5] & ~6) | 4);  // chroma_format
    EXPECT_EQ(openOf(chroma422), Vexmora_Unsupported);
    EXPECT_EQ(openOf(Video({.width = 4096 + 64})), Vexmora_NoSequenceHeader) << "wider than 4095";

    // A stream that opens but cannot be indexed leaves a failed index that spares the next open the trouble.
    const Bytes fields = Join({SequenceHeader(), SequenceExtension(), GopHeader(),
                               Picture(0, 1, 40, {.picture_structure = 1}), Bytes(40, 0)});
    ASSERT_EQ(openOf(fields), Vexmora_NotFinished);
    EXPECT_EQ(IndexFile(), Vexmora_Unsupported);
    EXPECT_EQ(Open(), Vexmora_Unsupported);
    EXPECT_EQ(fs::file_size(mHost.Known()), 88u);
    EXPECT_EQ(mHandle, nullptr);
}

TEST_F(Files, AHostThatLacksServicesIsRefused) {
    WriteAll(mMedia, Video());
    HostServices noHandles = mHost.Services();
    noHandles.memoryHandles = nullptr;
    for (const HostServices& services : {noHandles, HostServices{}}) {
        Vexmora_Handle handle = nullptr;
        std::uint8_t* buffer = nullptr;
        EXPECT_EQ(Vexmora_OpenFile(ToUtf16(mMedia), services, &handle, nullptr, false), Vexmora_Failure);
        EXPECT_EQ(Vexmora_OpenBufferInstance(services, 65536, &handle, &buffer), Vexmora_Failure);
        EXPECT_TRUE(handle == nullptr && buffer == nullptr);
    }
}

TEST_F(Files, TheHostMayBringItsOwnIndex) {
    const Bytes media = Video();
    WriteAll(mMedia, media);
    IndexResult index = Index(media);
    const auto open = [&] {
        Vexmora_CloseFile(mHandle);
        return Vexmora_OpenFileWithIndex(ToUtf16(mMedia), mHost.Services(), index.header, index.records,
                                         &mHandle);
    };
    ASSERT_EQ(open(), Vexmora_Ok);
    std::uint32_t offset = 7;
    EXPECT_EQ(Vexmora_GetVideoFrameOffset(mHandle, &offset), Vexmora_Ok);
    EXPECT_EQ(offset, index.header.firstFrame);
    index.records.pop_back();
    EXPECT_EQ(open(), Vexmora_Unsupported) << "fewer records than the header counts";
    EXPECT_EQ(mHandle, nullptr);
    index.header.recordCount = 0;
    EXPECT_EQ(open(), Vexmora_NotFinished);
    EXPECT_EQ(mHandle, nullptr);
    index.header.streamKind = kStreamKindFailed;
    EXPECT_EQ(open(), Vexmora_Unsupported);
}

TEST_F(Files, PlanesAreLargeEnoughForEverySize) {
    const auto sizesOf = [this](unsigned inWidth, unsigned inHeight) {
        WriteAll(mMedia, Video({.width = inWidth, .height = inHeight}));
        EXPECT_EQ(Open(), Vexmora_NotFinished);
        std::pair<std::uint32_t, std::uint32_t> sizes;
        EXPECT_EQ(Vexmora_GetFrameSizes(mHandle, &sizes.first, &sizes.second), Vexmora_Ok);
        return sizes;
    };
    EXPECT_EQ(sizesOf(720, 576), (std::pair{506'880u, 126'720u})) << "width * (height + 128), and a quarter";
    // Whole macroblock rows of padded lines: 18 rows of 16 lines of 384, 18 rows of 8 lines of 256.
    EXPECT_EQ(sizesOf(352, 288), (std::pair{146'432u, 36'864u}));
    // One sample wide: 128 bytes a line; 1088 lines.
    EXPECT_EQ(sizesOf(1, 1080), (std::pair{128u * 1088, 128u * 544}));
}

TEST_F(Files, ABufferInstanceKnowsNothingBeforeItsFirstPicture) {
    std::uint8_t* buffer = nullptr;
    ASSERT_EQ(Vexmora_OpenBufferInstance(mHost.Services(), 65536, &mHandle, &buffer), Vexmora_Ok);
    std::memset(buffer, 0xFF, 65536);
    FileInfo info{};
    EXPECT_EQ(Vexmora_GetFileInfo(mHandle, &info), Vexmora_NoSequenceHeader);
    std::uint32_t luma = 1, chroma = 1;
    EXPECT_EQ(Vexmora_GetFrameSizes(mHandle, &luma, &chroma), Vexmora_Ok);
    EXPECT_EQ(luma + chroma, 0u);
    EXPECT_EQ(Vexmora_IsFrameValid(mHandle, 0), 0);
}

}  // namespace
}  // namespace Vexmora::Test
