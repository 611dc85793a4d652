// Movies of real encoders' streams: indexed once, found again, told apart, and refused with a reason.
#include "VexmoraHost/Movie.h"
#include "memory/HostServices.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "Host/HostTestSupport.h"
#include "Support/StreamBuilder.h"
#include "index/IndexStore.h"

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

TEST(Movie, EveryStreamIsIndexedOnceUnlessAskedFor) {
    const TemporaryFolder folder;
    const std::size_t blocksBefore = ProcessMemory().LiveBlocks();
    std::set<std::string> kinds;
    for (const fs::path& path : Vexmora::Test::StreamFiles(kStreams)) {
        const std::string extension = path.extension().native();
        SCOPED_TRACE(path);
        kinds.insert(extension);
        const Movie movie = Movie::Open(path, {.indexDir = folder.Path()});
        EXPECT_TRUE(movie.WasIndexed());
        auto expected = IndexInMemory(path);
        expected.header.identity = IdentifyMedia(path);
        for (const bool isForced : {false, true}) {
            const Movie again = Movie::Open(path, {.indexDir = folder.Path(), .forceReindex = isForced});
            EXPECT_EQ(again.WasIndexed(), isForced);
            EXPECT_EQ(again.IndexPath(), movie.IndexPath());
            const MovieInfo& info = again.Info();
            EXPECT_EQ(info.index, expected.header);
            EXPECT_EQ(again.Records(), expected.records);
            EXPECT_EQ(info.streamKind, extension == ".m2v"  ? StreamKind::Elementary
                                       : extension == ".ts" ? StreamKind::Transport
                                                            : StreamKind::Program);
            EXPECT_EQ(info.firstFrame, expected.header.firstFrame);
            EXPECT_EQ(info.frameCount, info.file.frameCount);
            EXPECT_EQ(info.file.width, expected.header.width);
            EXPECT_EQ(movie.Records(), expected.records);
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
    const auto time = fs::last_write_time(mMedia);
    const fs::path copy = mFolder / "copy";
    for (const bool isPutBack : {false, true}) {  // the old file, under its name
        fs::last_write_time(mMedia, time);
        bool isChanged = false;
        mOptions.progress = [&](std::uint64_t inDone, std::uint64_t) {
            if (inDone == 0 || std::exchange(isChanged, true)) return true;
            if (isPutBack) fs::copy_file(mMedia, copy);
            fs::last_write_time(mMedia, time + std::chrono::seconds(1));
            if (isPutBack) fs::last_write_time(copy, time), fs::rename(copy, mMedia);
            return true;
        };
        EXPECT_NE(FailureOf(mMedia, mOptions, Vexmora_Failure).find("changed while"), std::string::npos);
        EXPECT_TRUE(HoldsNoIndex(mOptions.indexDir));
    }
}

TEST(Movie, OpensFilesOfAnyNameAndTime) {
    const TemporaryFolder folder;
    const OpenOptions options{.indexDir = folder / "store"};
    const std::pair<std::string, std::int64_t> cases[] = {
        {std::string(255, 'x'), 1}, {"of 1960", -300'000'000}, {"of 2300", 10'413'792'000}};
    for (const auto& [name, seconds] : cases) {
        const fs::path media = folder / name;
        fs::copy_file(kStreams / "tiny-64x48.ts", media);
        const timespec times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, media.c_str(), times, 0), 0);
        EXPECT_TRUE(Movie::Open(media, options).WasIndexed()) << name;
        EXPECT_FALSE(Movie::Open(media, options).WasIndexed()) << name;
    }
}

// As a file server does for its client: until the lease is given back, which the open asks for, nobody else
// gets at the file. Another process holds it, for the system tells its holder by a signal.
TEST(Movie, WaitsForALeaseOnItsFile) {
    const TemporaryFolder folder;
    const fs::path media = folder / "leased.ts";
    fs::copy_file(kStreams / "tiny-64x48.ts", media);
    for (const bool isKnown : {false, true}) {
        int isLeased[2];
        ASSERT_EQ(::pipe(isLeased), 0);
        const pid_t holder = ::fork();
        ASSERT_GE(holder, 0);
        if (holder == 0) {
            sigset_t asked;
            ::sigemptyset(&asked);
            ::sigaddset(&asked, SIGIO);
            ::sigprocmask(SIG_BLOCK, &asked, nullptr);
            const int file = ::open(media.c_str(), O_RDWR);
            const char result = ::fcntl(file, F_SETLEASE, F_WRLCK) == 0 ? 1 : 0;
            static_cast<void>(!::write(isLeased[1], &result, 1));
            int signal = 0;
            if (result == 1) ::sigwait(&asked, &signal);
            ::usleep(20'000);
            ::_exit(0);  // and gives it back
        }
        char result = 0;
        ASSERT_EQ(::read(isLeased[0], &result, 1), 1);
        ::close(isLeased[0]);
        ::close(isLeased[1]);
        if (result == 1) {
            EXPECT_EQ(Movie::Open(media, {.indexDir = folder / "store"}).WasIndexed(), !isKnown);
        }
        ::waitpid(holder, nullptr, 0);
        if (result == 0) GTEST_SKIP() << "no leases here";
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // its facts settle
    }
}

// A run opens its file once more for each further thread; by then it may be another file.
TEST(Movie, LeavesNothingOpenOfAFileThatTookItsPlace) {
    const TemporaryFolder folder;
    const fs::path media = folder / "a.m2v";
    fs::copy_file(kStreams / "b1-100x76.m2v", media);
    Movie movie = Movie::Open(media, {.indexDir = folder / "store"});
    fs::rename(media, folder / "moved.m2v");
    fs::copy_file(kStreams / "top-720x576.m2v", media);
    const std::size_t before = OpenDescriptors();
    const std::size_t blocks = ProcessMemory().LiveBlocks();
    {
        FrameRun run = movie.Run(0, movie.Info().frameCount, Scale::Full, 4);
        std::uint32_t frames = 0;
        while (const SharedPicture picture = run.Next()) {
            EXPECT_TRUE(picture->damage.None());
            EXPECT_EQ(picture->luma.width, 100u);
            ++frames;
        }
        EXPECT_EQ(frames, movie.Info().frameCount);
    }
    EXPECT_EQ(OpenDescriptors(), before);
    ProcessBlockCache().Clear();
    EXPECT_LE(ProcessMemory().LiveBlocks(), blocks);
}

}  // namespace
}  // namespace VexmoraHost
