// The C interface in wrong hands, and in those of several threads.
#include "vexmora.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Support/TestFiles.h"
#include "memory/HostServices.h"

namespace {

template <typename StructOf>
StructOf Sized(std::size_t inSize = sizeof(StructOf)) {
    StructOf made{};
    made.struct_size = inSize;
    return made;
}

vexmora_error LastError() {
    auto error = Sized<vexmora_error>();
    EXPECT_EQ(vexmora_last_error(&error), VEXMORA_OK);
    return error;
}

class CInterface : public testing::Test {
  protected:
    vexmora_status Open(vexmora_progress inProgress, void* inUser = nullptr) {
        const std::string indexDir = (mFolder / "store").native();
        auto options = Sized<vexmora_open_options>();
        options.index_dir = indexDir.c_str();
        options.progress = inProgress;
        options.progress_user = inUser;
        return vexmora_movie_open(VEXMORA_STREAM_DIR "/b3-100x76.ts", &options, &mMovie);
    }
    void SetUp() override { ASSERT_EQ(Open(nullptr), VEXMORA_OK) << LastError().text; }
    void TearDown() override { vexmora_movie_close(mMovie); }

    template <typename HandleOf>
    static HandleOf* MadeUp(const void* inAddress) {
        return static_cast<HandleOf*>(const_cast<void*>(inAddress));
    }

    Vexmora::Test::TemporaryFolder mFolder;
    vexmora_movie* mMovie = nullptr;
};

TEST_F(CInterface, NamesObjectsOfOneKindUntilTheyAreReleased) {
    vexmora_frame* frame = nullptr;
    vexmora_run* run = nullptr;
    ASSERT_EQ(vexmora_frame_acquire(mMovie, 3, VEXMORA_SCALE_FULL, &frame), VEXMORA_OK);
    ASSERT_EQ(vexmora_run_open(mMovie, 0, 2, VEXMORA_SCALE_FULL, 2, &run), VEXMORA_OK);
    vexmora_movie* const closed = mMovie;
    ASSERT_EQ(vexmora_movie_close(mMovie), VEXMORA_OK);

    auto picture = Sized<vexmora_picture>();
    ASSERT_EQ(vexmora_frame_describe(frame, &picture), VEXMORA_OK) << "frames outlive their movie";
    EXPECT_EQ(picture.frame, 3u);
    EXPECT_EQ(picture.planes[2].height, 38u);
    vexmora_frame* next = nullptr;
    for (const vexmora_status expected : {VEXMORA_OK, VEXMORA_OK, VEXMORA_END, VEXMORA_END}) {
        ASSERT_EQ(vexmora_run_next(run, &next), expected) << "runs, too";
        EXPECT_EQ(next != nullptr, expected == VEXMORA_OK);
        if (next != nullptr) {
            EXPECT_EQ(vexmora_frame_release(next), VEXMORA_OK);
        }
    }
    EXPECT_EQ(vexmora_frame_release(MadeUp<vexmora_frame>(run)), VEXMORA_BAD_HANDLE);
    EXPECT_EQ(vexmora_run_close(run), VEXMORA_OK);
    EXPECT_EQ(vexmora_frame_release(frame), VEXMORA_OK);

    const int local = 0;
    for (const void* const handle : std::initializer_list<const void*>{nullptr, closed, frame, run, &local}) {
        auto info = Sized<vexmora_info>();
        vexmora_record record{};
        vexmora_frame* gotFrame = frame;
        vexmora_run* gotRun = run;
        auto* const asMovie = MadeUp<vexmora_movie>(handle);
        auto* const asRun = MadeUp<vexmora_run>(handle);
        const vexmora_status answers[] = {vexmora_movie_close(asMovie),
                                          vexmora_movie_info(asMovie, &info),
                                          vexmora_movie_records(asMovie, 0, 1, &record, sizeof record),
                                          vexmora_frame_acquire(asMovie, 0, VEXMORA_SCALE_FULL, &gotFrame),
                                          vexmora_run_open(asMovie, 0, 1, VEXMORA_SCALE_FULL, 1, &gotRun),
                                          vexmora_frame_release(MadeUp<vexmora_frame>(handle)),
                                          vexmora_frame_describe(MadeUp<vexmora_frame>(handle), &picture),
                                          vexmora_run_next(asRun, &gotFrame),
                                          vexmora_run_close(asRun)};
        for (const vexmora_status answer : answers) EXPECT_EQ(answer, VEXMORA_BAD_HANDLE) << handle;
        EXPECT_EQ(gotFrame, nullptr);
        EXPECT_EQ(gotRun, nullptr);
    }
    EXPECT_STREQ(LastError().problem, "the handle names no open run");
}

TEST_F(CInterface, RefusesArgumentsThatItCannotUse) {
    auto info = Sized<vexmora_info>();
    ASSERT_EQ(vexmora_movie_info(mMovie, &info), VEXMORA_OK);
    const std::uint32_t frames = info.frame_count;
    vexmora_movie* movie = mMovie;
    vexmora_frame* frame = nullptr;
    vexmora_run* run = nullptr;
    vexmora_record record{};
    const char* const noPath = nullptr;
    auto small = Sized<vexmora_info>(sizeof(vexmora_info) - 1);
    auto unset = Sized<vexmora_picture>(0);
    auto wrongPid = Sized<vexmora_open_options>();
    wrongPid.pid = 0x10000;
    const struct {
        vexmora_status expected;
        vexmora_status answer;
    } rows[] = {
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_open(nullptr, nullptr, &movie)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_open("/", nullptr, nullptr)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_open("/", &wrongPid, &movie)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_open_files(nullptr, 1, nullptr, &movie)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_open_files(&noPath, 1, nullptr, &movie)},
        {VEXMORA_FAILED, vexmora_movie_open_files(nullptr, 0, nullptr, &movie)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_info(mMovie, nullptr)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_info(mMovie, &small)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_records(mMovie, info.record_count, 1, &record, sizeof record)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_records(mMovie, 1, UINT32_MAX, &record, sizeof record)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_records(mMovie, 0, 1, &record, 1)},
        {VEXMORA_BAD_ARGUMENT, vexmora_movie_records(mMovie, 0, 1, nullptr, sizeof record)},
        {VEXMORA_OK, vexmora_movie_records(mMovie, info.record_count, 0, nullptr, sizeof record)},
        {VEXMORA_BAD_ARGUMENT, vexmora_frame_acquire(mMovie, 0, 3, &frame)},
        {VEXMORA_BAD_ARGUMENT, vexmora_frame_acquire(mMovie, 0, VEXMORA_SCALE_FULL, nullptr)},
        {VEXMORA_NO_SUCH_FRAME, vexmora_frame_acquire(mMovie, frames, VEXMORA_SCALE_FULL, &frame)},
        {VEXMORA_NO_SUCH_FRAME, vexmora_run_open(mMovie, 1, frames, VEXMORA_SCALE_FULL, 1, &run)},
        {VEXMORA_BAD_ARGUMENT, vexmora_run_open(mMovie, 0, 1, VEXMORA_SCALE_FULL, 257, &run)},
        {VEXMORA_OK, vexmora_frame_acquire(mMovie, 0, VEXMORA_SCALE_QUARTER, &frame)},
        {VEXMORA_BAD_ARGUMENT, vexmora_frame_describe(frame, &unset)},
        {VEXMORA_BAD_ARGUMENT, vexmora_last_error(nullptr)},
        {VEXMORA_OK, vexmora_frame_release(frame)}};
    for (const auto& row : rows) EXPECT_EQ(row.answer, row.expected) << "row " << &row - rows;
    EXPECT_EQ(movie, nullptr);
    EXPECT_EQ(run, nullptr);
}

// A program that knows of more fields than this library, and one that does not set what it knows of.
TEST_F(CInterface, FillsAndReadsStructsOfOtherVersions) {
    struct Later {
        vexmora_info info;
        std::uint64_t added;
    } info{Sized<vexmora_info>(sizeof(Later)), 7};
    ASSERT_EQ(vexmora_movie_info(mMovie, &info.info), VEXMORA_OK);
    EXPECT_EQ(info.info.width, 100u);
    EXPECT_EQ(info.info.struct_size, sizeof info);
    EXPECT_EQ(info.added, 7u);

    struct LaterRecord {
        vexmora_record record;
        std::uint64_t added;
    };
    std::vector<LaterRecord> records(info.info.record_count, {{}, 7});
    ASSERT_EQ(vexmora_movie_records(mMovie, 0, info.info.record_count, &records[0].record, sizeof records[0]),
              VEXMORA_OK);
    const auto& first = records[info.info.first_record];
    EXPECT_EQ(first.record.picture_coding_type, 1);
    EXPECT_EQ(first.added, 7u);

    struct LaterOptions {
        vexmora_open_options options;
        std::uint64_t added;
    } options{Sized<vexmora_open_options>(sizeof(LaterOptions)), 1};
    vexmora_movie* movie = nullptr;
    EXPECT_EQ(vexmora_movie_open("/", &options.options, &movie), VEXMORA_BAD_ARGUMENT);
    options.added = 0;
    EXPECT_EQ(vexmora_movie_open("/nothing", &options.options, &movie), VEXMORA_FAILED);
    const vexmora_error error = LastError();
    EXPECT_STREQ(error.path, "/nothing");
    EXPECT_EQ(error.text, std::string(error.path) + ": " + error.problem + " (" + error.advice + ")");
}

TEST_F(CInterface, LetsNothingThroughThatACallbackDoes) {
    const std::pair<vexmora_progress, vexmora_status> rows[] = {
        {[](void*, std::uint64_t, std::uint64_t) { return 1; }, VEXMORA_CANCELLED},
        {[](void*, std::uint64_t, std::uint64_t) -> int { throw std::bad_alloc(); }, VEXMORA_NO_MEMORY},
        {[](void*, std::uint64_t, std::uint64_t) -> int { throw std::runtime_error("x"); }, VEXMORA_INTERNAL},
        {[](void*, std::uint64_t, std::uint64_t) -> int { throw 1; }, VEXMORA_INTERNAL}};
    vexmora_movie_close(mMovie);
    std::filesystem::remove_all(mFolder / "store");
    for (const auto& [progress, expected] : rows) {
        EXPECT_EQ(Open(progress), expected);
        EXPECT_EQ(LastError().status, expected);
        EXPECT_EQ(mMovie, nullptr);
    }
}

// They decode from one movie, and one of them closes it while the others are at work.
TEST_F(CInterface, IsSharedByThreads) {
    const std::size_t before = VexmoraHost::ProcessMemory().LiveBlocks();
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            vexmora_run* run = nullptr;
            vexmora_run_open(mMovie, 0, 8, VEXMORA_SCALE_QUARTER, 2, &run);
            for (std::uint32_t number = 0; number < 8; ++number) {
                vexmora_frame* frame = nullptr;
                if (vexmora_run_next(run, &frame) == VEXMORA_OK) {
                    auto picture = Sized<vexmora_picture>();
                    EXPECT_EQ(vexmora_frame_describe(frame, &picture), VEXMORA_OK);
                    EXPECT_EQ(picture.frame, number);
                    EXPECT_EQ(vexmora_frame_release(frame), VEXMORA_OK);
                } else {
                    EXPECT_EQ(LastError().status, VEXMORA_BAD_HANDLE);
                }
                if (thread == 0 && number == 4) {
                    EXPECT_EQ(vexmora_movie_close(mMovie), VEXMORA_OK);
                }
            }
            vexmora_run_close(run);
        });
    }
    threads.clear();
    EXPECT_EQ(vexmora_set_cache_budgets(0, 0), VEXMORA_OK);
    EXPECT_LE(VexmoraHost::ProcessMemory().LiveBlocks(), before);
    vexmora_set_cache_budgets(VEXMORA_DEFAULT_BLOCK_CACHE_BYTES, VEXMORA_DEFAULT_FRAME_CACHE_BYTES);
}

}  // namespace
