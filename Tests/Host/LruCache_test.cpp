// A cache keeps what was used last within its budget, and never takes anything from its users.
#include "memory/LruCache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "memory/BlockCache.h"

namespace VexmoraHost {
namespace {

constexpr std::size_t kBytes = 100;
using Numbers = std::vector<std::uint32_t>;

class Cache : public testing::Test {
  protected:
    using Thing = std::shared_ptr<const std::uint32_t>;

    Thing Make(std::uint32_t inNumber) {
        ++mLive;
        return {new std::uint32_t(inNumber), [this](const std::uint32_t* inThing) {
                    --mLive;
                    delete inThing;
                }};
    }
    void Add(std::uint32_t inCacheId, std::uint32_t inNumber, std::size_t inBytes = kBytes) {
        mCache.Add({inCacheId, inNumber}, Make(inNumber), inBytes);
    }
    // The numbers that are kept, each used once, in their order.
    Numbers Kept(std::uint32_t inCacheId) {
        Numbers kept;
        for (std::uint32_t number = 0; number < 10; ++number) {
            const Thing thing = mCache.Find({inCacheId, number});
            if (!thing) continue;
            EXPECT_EQ(*thing, number);
            kept.push_back(number);
        }
        return kept;
    }

    std::atomic<std::size_t> mLive{0};
    LruCache<BlockKey, Thing> mCache{4 * kBytes};
};

TEST_F(Cache, KeepsWhatWasUsedLastAndItsUsersKeepTheRest) {
    for (const std::uint32_t number : Numbers{0, 1, 2, 3}) Add(1, number);
    const Thing held = mCache.Find({1, 1});
    EXPECT_EQ(Kept(1), (Numbers{0, 1, 2, 3}));
    EXPECT_TRUE(mCache.Find({1, 0}));  // now 1 was not used for longest
    Add(1, 4);
    EXPECT_EQ(Kept(1), (Numbers{0, 2, 3, 4}));
    EXPECT_EQ(*held, 1u);
    EXPECT_EQ(mLive, 5u);
    mCache.SetBudget(2 * kBytes);
    EXPECT_EQ(Kept(1), (Numbers{3, 4}));
    EXPECT_EQ(mCache.Bytes(), 2 * kBytes);
    mCache.Clear();
    EXPECT_EQ(mCache.Bytes(), 0u);
    EXPECT_EQ(mLive, 1u);
}

TEST_F(Cache, TellsFilesApartAndRefusesWhatItCannotKeep) {
    Add(1, 5);
    mCache.Add({1, 5}, Make(99), kBytes);  // kept already
    Add(0, 5);                             // a file without a cache
    Add(1, 6, 4 * kBytes + 1);             // too large
    Add(0xFFFFFFFF, 5);
    Add(0xFFFFFFFF, 8);
    EXPECT_EQ(Kept(0), Numbers{});
    EXPECT_EQ(Kept(1), Numbers{5});
    EXPECT_EQ(Kept(0xFFFFFFFF), (Numbers{5, 8}));
    EXPECT_EQ(mLive, 3u);
    mCache.Drop(0xFFFFFFFF);
    EXPECT_EQ(Kept(1), Numbers{5});
    EXPECT_EQ(mCache.Count(), 1u);
}

TEST_F(Cache, GivesThreadsWhatTheyAskForWhileOthersPushItOut) {
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([this, seed] {
            std::minstd_rand random(seed);
            for (int round = 0; round < 3000; ++round) {
                const auto number = static_cast<std::uint32_t>(random() % 10);
                const std::uint32_t cacheId = 1 + number % 2;
                const Thing thing = mCache.Find({cacheId, number});
                if (!thing) Add(cacheId, number);
                EXPECT_EQ(thing ? *thing : number, number);
                if (round % 100 == 0) mCache.Drop(cacheId);
            }
        });
    }
    threads.clear();
    EXPECT_LE(mCache.Bytes(), 4 * kBytes);
    EXPECT_EQ(mCache.Bytes(), mLive * kBytes);
}

}  // namespace
}  // namespace VexmoraHost
