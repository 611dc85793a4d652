// Movies of one file on several threads, sharing both caches, see the same pictures in any order.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "Host/HostTestSupport.h"
#include "PlainDecode.h"
#include "VexmoraHost/Movie.h"

namespace VexmoraHost {
namespace {

TEST(FrameThreads, MoviesOfOneFileShareTheirCaches) {
    const std::filesystem::path media = std::filesystem::path(VEXMORA_STREAM_DIR) / "b3-100x76.ts";
    const TemporaryFolder folder;
    const OpenOptions options{.indexDir = folder.Path(), .frameCacheBytes = 100000};  // a few pictures
    IndexedFile plain(media);
    const MovieInfo info = Movie::Open(media, options).Info();
    std::vector<Samples> expected;
    for (std::uint32_t frame = 0; frame < info.frameCount; ++frame) {
        expected.push_back(plain.Plain(static_cast<std::int32_t>(info.firstFrame + frame), Scale::Full));
    }
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            Movie movie = Movie::Open(media, options);
            std::vector<std::uint32_t> order(expected.size());
            std::iota(order.begin(), order.end(), 0u);
            if (thread == 1) std::reverse(order.begin(), order.end());
            if (thread > 1) std::shuffle(order.begin(), order.end(), std::mt19937(thread));
            for (const std::uint32_t frame : order) {
                EXPECT_TRUE(SamplesOf(*movie.Frame(frame)) == expected[frame]) << frame;
                if (frame % 16 == 0) ProcessFrameCache().SetBudget(frame % 32 == 0 ? 0 : 100000);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace VexmoraHost
