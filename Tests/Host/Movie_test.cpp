// Movies of real encoders' streams: indexed once, found again, told apart, and refused with a reason.
#include "VexmoraHost/Movie.h"
#include "memory/HostServices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "Host/HostTestSupport.h"
#include "Support/StreamBuilder.h"
#include "VexmoraHost/IndexStore.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;
const fs::path kStreams = VEXMORA_STREAM_DIR;

Vexmora::Test::IndexResult IndexInMemory(const fs::path& inPath) {
    const std::string bytes = ReadFile(inPath);
    return Vexmora::Test::Index({bytes.begin(), bytes.end()});
}

std::string FailureOf(const fs::path& inPath, const OpenOptions& inOptions, Vexmora_Status inExpected) {
    try {
        Movie::Open(inPath, inOptions);
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), inExpected) << error.what();
        return error.what();
    }
    return "opened";
}

bool HoldsNoIndex(const fs::path& inStore) {
    for (const auto& entry : fs::directory_iterator(inStore)) {
        if (entry.path().extension() == ".mpgindex") return false;
    }
    return fs::is_empty(inStore / "writing");
}

TEST(Movie, EveryStreamIsIndexedOnceAndSharesItsBlocks) {
    const TemporaryFolder folder;
    const std::size_t blocksBefore = ProcessMemory().LiveBlocks();
    std::set<std::string> kinds;
    for (const auto& entry : fs::directory_iterator(kStreams)) {
        const fs::path& path = entry.path();
        const std::string extension = path.extension().native();
        const bool isStream = std::set<std::string>{".m2v", ".mpg", ".vob", ".ts"}.contains(extension);
        if (!isStream || path.filename().native().starts_with("refused")) continue;
        SCOPED_TRACE(path);
        kinds.insert(extension);
        const Movie movie = Movie::Open(path, {.indexDir = folder.Path()});
        const Movie again = Movie::Open(path, {.indexDir = folder.Path()});
        EXPECT_TRUE(movie.WasIndexed());
        EXPECT_FALSE(again.WasIndexed());
        EXPECT_EQ(again.IndexPath(), movie.IndexPath());

        auto expected = IndexInMemory(path);
        expected.header.identity = IdentifyMedia(path);
        for (const Movie* opened : {&movie, &again}) {
            const MovieInfo& info = opened->Info();
            EXPECT_EQ(info.index, expected.header);
            EXPECT_EQ(opened->Records(), expected.records);
            EXPECT_EQ(info.streamKind, extension == ".m2v"  ? StreamKind::Elementary
                                       : extension == ".ts" ? StreamKind::Transport
                                                            : StreamKind::Program);
            EXPECT_EQ(info.firstFrame, expected.header.firstFrame);
            EXPECT_EQ(info.frameCount, info.file.frameCount);
            EXPECT_EQ(info.file.width, expected.header.width);
        }
    }
    EXPECT_EQ(kinds.size(), 4u);
    ProcessBlockCache().Clear();
    EXPECT_EQ(ProcessMemory().LiveBlocks(), blocksBefore) << "the library released all that it was lent";
}

class MovieOfManyReads : public testing::Test {
  protected:
    void SetUp() override {
        const std::string stream = ReadFile(kStreams / "top-720x576.m2v");
        std::string bytes;
        while (bytes.size() < std::size_t{40} << 20) bytes += stream;
        WriteFile(mMedia, bytes);
    }
    TemporaryFolder mFolder;
    fs::path mMedia = mFolder / "l\xE4ng.m2v";
    OpenOptions mOptions{.indexDir = mFolder / "store"};
};

TEST_F(MovieOfManyReads, TellsItsProgressAndCanBeCancelledAtEveryStep) {
    std::vector<std::uint64_t> told;
    mOptions.progress = [&](std::uint64_t inDone, std::uint64_t inTotal) {
        EXPECT_EQ(inTotal, fs::file_size(mMedia));
        EXPECT_LE(inDone, inTotal);
        told.push_back(inDone);
        return true;
    };
    const Movie movie = Movie::Open(mMedia, mOptions);
    ASSERT_GE(told.size(), 4u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_EQ(told.front(), 0u);
    EXPECT_EQ(told.back(), fs::file_size(mMedia));
    EXPECT_GT(told[2], 0u);

    const std::size_t steps = told.size() - 1;  // the last call only tells that all is done
    mOptions.indexDir = mFolder / "cancelled";
    for (std::size_t step = 1; step <= steps; ++step) {
        std::size_t calls = 0;
        mOptions.progress = [&](std::uint64_t, std::uint64_t) { return ++calls < step; };
        EXPECT_NE(FailureOf(mMedia, mOptions, Vexmora_NotFinished).find("cancelled"), std::string::npos);
        EXPECT_EQ(calls, step);
        EXPECT_TRUE(HoldsNoIndex(mOptions.indexDir));
    }
}

TEST_F(MovieOfManyReads, IsNotIndexedWhileSomethingWritesToIt) {
    mOptions.progress = [&](std::uint64_t inDone, std::uint64_t) {
        if (inDone > 0) fs::last_write_time(mMedia, fs::last_write_time(mMedia) + std::chrono::seconds(1));
        return true;
    };
    EXPECT_NE(FailureOf(mMedia, mOptions, Vexmora_Failure).find("changed while"), std::string::npos);
    EXPECT_TRUE(HoldsNoIndex(mOptions.indexDir));
}

TEST(Movie, ADamagedMissingOrOutdatedIndexIsBuiltAnew) {
    const TemporaryFolder folder;
    const fs::path media = folder / "a.ts";
    fs::copy_file(kStreams / "mp2-720x576.ts", media);
    OpenOptions options{.indexDir = folder / "store"};
    const Movie first = Movie::Open(media, options);
    const auto expectNew = [&](const char* inWhy) {
        const Movie movie = Movie::Open(media, options);
        EXPECT_TRUE(movie.WasIndexed()) << inWhy;
        EXPECT_EQ(movie.Records(), first.Records()) << inWhy;
        EXPECT_FALSE(Movie::Open(media, {.indexDir = options.indexDir}).WasIndexed()) << inWhy;
    };
    Tamper(first.IndexPath(), [](std::string& ioBytes) { ioBytes.resize(ioBytes.size() - 18); });
    expectNew("torn");
    Tamper(first.IndexPath(), [](std::string& ioBytes) { ioBytes[88] ^= 1; });
    expectNew("tampered with");
    fs::remove(first.IndexPath());
    expectNew("missing");
    WriteFile(options.indexDir / "registry.sqlite3", "no database");
    expectNew("unlisted");
    fs::last_write_time(media, fs::last_write_time(media) + std::chrono::seconds(1));
    expectNew("outdated");
    EXPECT_FALSE(fs::exists(first.IndexPath()));
    options.forceReindex = true;
    expectNew("asked for");
}

TEST(Movie, IndexesInSeveralFoldersAtOnce) {
    const TemporaryFolder folder;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&folder, thread] {
            const OpenOptions options{.indexDir = folder / ("store" + std::to_string(thread / 2))};
            const Movie movie = Movie::Open(kStreams / "dvd-720x576.vob", options);
            EXPECT_EQ(movie.IndexPath().parent_path(), options.indexDir);
            EXPECT_EQ(movie.Records().size(), movie.Info().index.recordCount);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(Movie, SaysWhatIsNotSupportedAndWhatCannotBeOpened) {
    const TemporaryFolder folder;
    OpenOptions options{.indexDir = folder / "store"};
    const fs::path text = WriteFile(folder / "text.ts", "no video at all");
    EXPECT_NE(FailureOf(text, options, Vexmora_Unsupported).find("is not MPEG-2"), std::string::npos);
    EXPECT_NE(FailureOf(kStreams / "refused-mpeg1.m2v", options, Vexmora_NoSequenceHeader).find("MPEG-1"),
              std::string::npos);
    EXPECT_TRUE(HoldsNoIndex(options.indexDir));
    EXPECT_NE(
        FailureOf(folder / "no.ts", options, Vexmora_Failure).find("no.ts: cannot be opened: No such file"),
        std::string::npos);
    EXPECT_NE(FailureOf(folder.Path(), options, Vexmora_Failure).find("is not a regular file"),
              std::string::npos);
    EXPECT_NE(FailureOf("", options, Vexmora_Failure).find("cannot be opened"), std::string::npos);
    options.indexDir = text / "below a file";
    EXPECT_NE(FailureOf(text, options, Vexmora_Failure).find("choose another index folder"),
              std::string::npos);
}

}  // namespace
}  // namespace VexmoraHost
