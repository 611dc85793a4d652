// The frame cache keeps the pictures used last within its budget, and never takes one from its users; plane
// memory is used again.
#include "memory/FrameCache.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <thread>
#include <vector>


namespace VexmoraHost {
namespace {

constexpr std::size_t kBytes = 100;

SharedPicture MakePicture(std::uint32_t inFrame) {
    const auto picture = std::make_shared<Picture>();
    picture->frame = inFrame;
    return picture;
}

std::vector<std::uint32_t> Kept(FrameCache& ioCache, std::uint32_t inCacheId, Scale inScale = Scale::Full) {
    std::vector<std::uint32_t> kept;
    for (std::uint32_t record = 0; record < 10; ++record) {
        const SharedPicture picture = ioCache.Find({inCacheId, record, inScale});
        if (picture == nullptr) continue;
        EXPECT_EQ(picture->frame, record);
        kept.push_back(record);
    }
    return kept;
}

TEST(FrameCache, KeepsWhatWasUsedLastAndItsUsersKeepTheRest) {
    using Records = std::vector<std::uint32_t>;
    FrameCache cache(3 * kBytes);
    for (std::uint32_t record = 0; record < 3; ++record) {
        cache.Add({1, record, Scale::Full}, MakePicture(record), kBytes);
    }
    const SharedPicture held = cache.Find({1, 1, Scale::Full});
    EXPECT_NE(cache.Find({1, 0, Scale::Full}), nullptr);  // now 2 is the oldest, then 1
    cache.Add({1, 3, Scale::Full}, MakePicture(3), kBytes);
    EXPECT_EQ(Kept(cache, 1), (Records{0, 1, 3}));
    const std::weak_ptr<const Picture> oldest = cache.Find({1, 0, Scale::Full});
    EXPECT_EQ(Kept(cache, 1), (Records{0, 1, 3}));  // uses 3 last
    cache.SetBudget(kBytes);
    EXPECT_EQ(Kept(cache, 1), (Records{3}));
    EXPECT_TRUE(oldest.expired());
    EXPECT_EQ(held->frame, 1u);
    cache.Clear();
    EXPECT_EQ(cache.Bytes(), 0u);
}

TEST(FrameCache, TellsFilesAndScalesApartAndRefusesWhatItCannotKeep) {
    using Records = std::vector<std::uint32_t>;
    FrameCache cache(4 * kBytes);
    cache.Add({1, 5, Scale::Full}, MakePicture(5), kBytes);
    cache.Add({1, 5, Scale::Full}, MakePicture(99), kBytes);         // kept already
    cache.Add({0, 5, Scale::Full}, MakePicture(5), kBytes);          // a file without a cache
    cache.Add({1, 6, Scale::Full}, MakePicture(6), 4 * kBytes + 1);  // too large
    cache.Add({1, 7, Scale::Quarter}, MakePicture(7), kBytes);
    cache.Add({2, 8, Scale::Full}, MakePicture(8), kBytes);
    EXPECT_EQ(Kept(cache, 0), Records{});
    EXPECT_EQ(Kept(cache, 1), Records{5});
    EXPECT_EQ(Kept(cache, 1, Scale::Quarter), Records{7});
    EXPECT_EQ(Kept(cache, 2), Records{8});
    cache.Drop(1);
    EXPECT_EQ(cache.Pictures(), 1u);
    EXPECT_EQ(Kept(cache, 2), Records{8});
}

TEST(FrameCache, ThreadsFindThePictureThatTheyAskFor) {
    FrameCache cache(5 * kBytes);
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) {
        threads.emplace_back([&cache, seed] {
            std::minstd_rand random(seed + 1);
            for (int round = 0; round < 3000; ++round) {
                const auto record = static_cast<std::uint32_t>(random() % 10);
                const FrameCache::Key key{1 + record % 2, record, Scale::Full};
                if (const SharedPicture picture = cache.Find(key)) {
                    EXPECT_EQ(picture->frame, record);
                } else {
                    cache.Add(key, MakePicture(record), kBytes);
                }
                if (round % 100 == 0) cache.Drop(key.cacheId);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_LE(cache.Bytes(), 5 * kBytes);
    EXPECT_EQ(cache.Bytes(), cache.Pictures() * kBytes);
}

}  // namespace
}  // namespace VexmoraHost
