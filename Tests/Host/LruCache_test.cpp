// The caches keep what was used last within their budget, and never take anything from its users.
#include "memory/LruCache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "memory/BlockCache.h"
#include "memory/FrameCache.h"

namespace VexmoraHost {
namespace {

constexpr std::size_t kBytes = 100;

// What each cache keeps: made with a number that can be read from it, and counted while it lives.
struct Pictures {
    using Cache = FrameCache;

    static FrameKey KeyOf(std::uint32_t inCacheId, std::uint32_t inNumber) { return {inCacheId, inNumber}; }
    SharedPicture Make(std::uint32_t inNumber) {
        auto* const picture = new Picture;
        picture->frame = inNumber;
        ++live;
        return {picture, [this](const Picture* inPicture) {
                    --live;
                    delete inPicture;
                }};
    }
    static bool IsThere(const SharedPicture& inValue) { return inValue != nullptr; }
    static std::uint32_t NumberOf(const SharedPicture& inValue) { return inValue->frame; }
    std::size_t Live() const { return live; }

    std::atomic<std::size_t> live{0};
};
struct Blocks {
    using Cache = BlockCache;

    static BlockKey KeyOf(std::uint32_t inCacheId, std::uint32_t inNumber) { return {inCacheId, inNumber}; }
    BlockReference Make(std::uint32_t inNumber) {
        const auto block = memory.Allocate(kBytes, 16);
        *memory.Address(block.value()) = static_cast<std::uint8_t>(inNumber);
        const BlockReference reference(memory, *block);
        memory.Release(*block);
        return reference;
    }
    static bool IsThere(const BlockReference& inValue) { return inValue.Block() != 0; }
    std::uint32_t NumberOf(const BlockReference& inValue) const { return *memory.Address(inValue.Block()); }
    std::size_t Live() const { return memory.LiveBlocks(); }

    Memory memory;
};

using Numbers = std::vector<std::uint32_t>;

template <typename Things>
class Caches : public testing::Test {
  protected:
    void Add(std::uint32_t inCacheId, std::uint32_t inNumber, std::size_t inBytes = kBytes) {
        mCache.Add(Things::KeyOf(inCacheId, inNumber), mThings.Make(inNumber), inBytes);
    }
    auto Find(std::uint32_t inCacheId, std::uint32_t inNumber) {
        return mCache.Find(Things::KeyOf(inCacheId, inNumber));
    }
    // The numbers that are kept, each used once, in their order.
    Numbers Kept(std::uint32_t inCacheId) {
        Numbers kept;
        for (std::uint32_t number = 0; number < 10; ++number) {
            const auto value = Find(inCacheId, number);
            if (!Things::IsThere(value)) continue;
            EXPECT_EQ(mThings.NumberOf(value), number);
            kept.push_back(number);
        }
        return kept;
    }

    Things mThings;
    typename Things::Cache mCache{4 * kBytes};
};
using KindsOfThings = testing::Types<Pictures, Blocks>;
TYPED_TEST_SUITE(Caches, KindsOfThings, );

TYPED_TEST(Caches, KeepWhatWasUsedLastAndItsUsersKeepTheRest) {
    for (const std::uint32_t number : Numbers{0, 1, 2, 3}) this->Add(1, number);
    const auto held = this->Find(1, 1);
    EXPECT_EQ(this->Kept(1), (Numbers{0, 1, 2, 3}));
    EXPECT_TRUE(TypeParam::IsThere(this->Find(1, 0)));  // now 1 was not used for longest
    this->Add(1, 4);
    EXPECT_EQ(this->Kept(1), (Numbers{0, 2, 3, 4}));
    EXPECT_EQ(this->mThings.NumberOf(held), 1u);
    EXPECT_EQ(this->mThings.Live(), 5u);
    this->mCache.SetBudget(2 * kBytes);
    EXPECT_EQ(this->Kept(1), (Numbers{3, 4}));
    EXPECT_EQ(this->mCache.Bytes(), 2 * kBytes);
    this->mCache.Clear();
    EXPECT_EQ(this->mCache.Bytes(), 0u);
    EXPECT_EQ(this->mThings.Live(), 1u);
}

TYPED_TEST(Caches, TellFilesApartAndRefuseWhatTheyCannotKeep) {
    this->Add(1, 5);
    this->mCache.Add(TypeParam::KeyOf(1, 5), this->mThings.Make(99), kBytes);  // kept already
    this->Add(0, 5);                                                           // a file without a cache
    this->Add(1, 6, 4 * kBytes + 1);                                           // too large
    this->Add(0xFFFFFFFF, 5);
    this->Add(0xFFFFFFFF, 8);
    EXPECT_EQ(this->Kept(0), Numbers{});
    EXPECT_EQ(this->Kept(1), Numbers{5});
    EXPECT_EQ(this->Kept(0xFFFFFFFF), (Numbers{5, 8}));
    EXPECT_EQ(this->mThings.Live(), 3u);
    this->mCache.Drop(0xFFFFFFFF);
    EXPECT_EQ(this->Kept(1), Numbers{5});
    EXPECT_EQ(this->mCache.Count(), 1u);
}

TYPED_TEST(Caches, GiveThreadsWhatTheyAskForWhileOthersPushItOut) {
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([this, seed] {
            std::minstd_rand random(seed);
            for (int round = 0; round < 3000; ++round) {
                const auto number = static_cast<std::uint32_t>(random() % 10);
                const std::uint32_t cacheId = 1 + number % 2;
                const auto value = this->Find(cacheId, number);
                if (TypeParam::IsThere(value)) {
                    EXPECT_EQ(this->mThings.NumberOf(value), number);
                } else {
                    this->Add(cacheId, number);
                }
                if (round % 100 == 0) this->mCache.Drop(cacheId);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_LE(this->mCache.Bytes(), 4 * kBytes);
    EXPECT_EQ(this->mCache.Bytes(), this->mThings.Live() * kBytes);
}

TEST(FrameCache, TellsScalesApart) {
    FrameCache cache(4 * kBytes);
    cache.Add({1, 7, Scale::Quarter}, std::make_shared<Picture>(), kBytes);
    EXPECT_EQ(cache.Find({1, 7, Scale::HalfWidth}), nullptr);
    EXPECT_NE(cache.Find({1, 7, Scale::Quarter}), nullptr);
}

TEST(BlockReference, HoldsNothingOfABlockThatIsNotThere) {
    Memory memory;
    EXPECT_EQ(BlockReference(memory, 0xBAD).Block(), 0u);
}

}  // namespace
}  // namespace VexmoraHost
