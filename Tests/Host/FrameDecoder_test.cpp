// Chains that no encoder makes: indexes with wrong references and missing pictures, and very long ones.
#include "frames/FrameDecoder.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <numeric>
#include <random>
#include <thread>

#include "Decoding/DecodeChain.h"
#include "Host/HostTestSupport.h"
#include "PlainDecode.h"
#include "Support/Options.h"

namespace VexmoraHost {
namespace {

const std::filesystem::path kStreams = VEXMORA_STREAM_DIR;
using Records = IndexedFile::Records;

class FrameDecoderTest : public testing::Test {
  protected:
    SharedPicture Frame(const IndexedFile& inFile, std::uint32_t inFrame, std::uint32_t inFirstFrame = 0) {
        const FrameSource source = inFile.Source(mCache, mMemory, inFirstFrame);
        return FrameDecoder(source, Scale::Full).Frame(inFrame);
    }

    Memory mMemory;
    FrameCache mCache{std::size_t{64} << 20};
};

// Whether neither the record nor what it is predicted from is wild.
bool IsTame(const Records& inRecords, const std::vector<bool>& inIsWild, std::int64_t inRecord) {
    const auto index = static_cast<std::size_t>(inRecord);
    const Vexmora::FrameRecord& record = inRecords[index];
    const auto isTame = [&](std::int8_t inDelta) {
        return inDelta == 0 || IsTame(inRecords, inIsWild, inRecord + inDelta);
    };
    return !inIsWild[index] && isTame(record.pastRefDelta) && isTame(record.futureRefDelta);
}

// Numbers outside of the records, holes and wild references included.
TEST_F(FrameDecoderTest, TheRulesOfFrameNumbersAreThoseOfTheExports) {
    std::mt19937 random(Vexmora::Test::Option("VEXMORA_SEED", 7));
    const IndexedFile file(kStreams / "b1-100x76.m2v", [&](Records& ioRecords) {
        for (Vexmora::FrameRecord& record : ioRecords) {
            if (random() % 4 == 0) record.pastRefDelta = static_cast<std::int8_t>(random() % 13 - 6);
            if (random() % 4 == 0) record.futureRefDelta = static_cast<std::int8_t>(random());
            if (random() % 8 == 0) record.size = 0;
            if (random() % 8 == 0) record = {};
        }
    });
    const FrameRules rules(file.AllRecords());
    for (std::int32_t record = -3; record < std::ssize(file.AllRecords()) + 3; ++record) {
        EXPECT_EQ(rules.IsValid(record), Vexmora_IsFrameValid(file.Handle(), record) == 1) << record;
        EXPECT_EQ(rules.LastGood(record), Vexmora_GetLastGoodFrame(file.Handle(), record)) << record;
        std::array<std::int32_t, 4> found{-1, -1, -1, -1};
        const Vexmora_Status status = rules.FindReferences(record, found[0], found[1]);
        EXPECT_EQ(status, Vexmora_GetFrameDependancies(file.Handle(), record, &found[2], &found[3]));
        if (status != Vexmora_Ok) continue;  // what is written then says nothing
        EXPECT_EQ(std::pair(found[0], found[1]), std::pair(found[2], found[3])) << record;
    }
}

// Whatever the deltas are, rings and pictures that name themselves among them.
TEST_F(FrameDecoderTest, WildReferencesAreDamageAndGiveTheSamePicturesInAnyOrder) {
    std::mt19937 random(Vexmora::Test::Option("VEXMORA_SEED", 7));
    std::vector<bool> isWild;
    const auto makeWild = [&](Records& ioRecords) {
        isWild.resize(ioRecords.size());
        for (std::size_t i = 0; i < ioRecords.size(); ++i) {
            isWild[i] = random() % 6 == 0;
            if (!isWild[i]) continue;
            ioRecords[i].pastRefDelta = static_cast<std::int8_t>(random() % 13 - 6);
            ioRecords[i].futureRefDelta = static_cast<std::int8_t>(random());
        }
    };
    const auto path = kStreams / "b1-100x76.m2v";
    Vexmora::Test::DecodeChain sound(path, Vexmora::Test::Scale::Full, Services());
    const IndexedFile wild(path, makeWild);
    const auto count = static_cast<std::uint32_t>(isWild.size());
    std::vector<Samples> forward;
    std::uint32_t damaged = 0;
    std::uint32_t tame = 0;
    for (std::uint32_t frame = 0; frame < count; ++frame) {
        const SharedPicture picture = Frame(wild, frame);
        ASSERT_NE(picture, nullptr);
        forward.push_back(SamplesOf(*picture));
        if (!picture->damage.None()) ++damaged;
        if (!IsTame(wild.AllRecords(), isWild, frame)) continue;
        ++tame;
        EXPECT_TRUE(picture->damage.None()) << frame;
        EXPECT_TRUE(forward.back() == sound.Shown(static_cast<std::int32_t>(frame))) << frame;
    }
    EXPECT_GT(damaged, 10u);
    EXPECT_GT(tame, 0u);
    std::vector<std::uint32_t> order(count);
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), random);
    mCache.SetBudget(0);
    for (const std::uint32_t frame : order) {
        EXPECT_TRUE(SamplesOf(*Frame(wild, frame)) == forward[frame]) << frame;
    }
}

TEST_F(FrameDecoderTest, RingsAndMissingReferencesAreTold) {
    // 0 I, 1 to 9 P, 10 I …
    const IndexedFile file(kStreams / "ip-64x48.m2v", [&](Records& ioRecords) {
        ioRecords[2].pastRefDelta = 1;     // 2 and 3 name each other
        ioRecords[5].pastRefDelta = -100;  // outside
        ioRecords[7].size = 0;             // 8 gets 6 instead
        ioRecords[12].pastRefDelta = 0;    // a P picture without reference
        ioRecords[21] = {};                // a hole
        ioRecords[31].flags ^= 1;          // another temporal_reference: not found
    });
    struct Expected {
        std::uint32_t frame;
        Vexmora_Status status;
        bool isBroken;            // all its macroblocks
        std::uint64_t inherited;  // macroblocks of whole pictures
        bool standsIn;
        std::uint32_t shown;
    };
    const Expected kExpected[] = {
        {1, Vexmora_Ok, false, 0, false, 1},
        {2, Vexmora_Ok, false, 1, false, 2},
        {3, Vexmora_Ok, false, 1, false, 3},
        {4, Vexmora_Ok, false, 1, false, 4},
        {5, Vexmora_NoSuchFrame, true, 0, false, 5},
        {6, Vexmora_Ok, false, 1, false, 6},
        {7, Vexmora_Ok, false, 1, true, 6},
        {8, Vexmora_Ok, false, 2, false, 8},
        {10, Vexmora_Ok, false, 0, false, 10},
        {12, Vexmora_Ok, false, 1, false, 12},
        {21, Vexmora_Ok, false, 0, true, 20},
        {22, Vexmora_Ok, false, 1, false, 22},
        {31, Vexmora_NoSuchFrame, true, 0, false, 31},
        {32, Vexmora_Ok, false, 1, false, 32},
    };
    for (const Expected& expected : kExpected) {
        SCOPED_TRACE(expected.frame);
        const SharedPicture picture = Frame(file, expected.frame);
        ASSERT_NE(picture, nullptr);
        const PictureDamage& damage = picture->damage;
        EXPECT_EQ(damage.status, expected.status);
        EXPECT_EQ(damage.macroblocks, expected.isBroken ? picture->macroblocks : 0);
        EXPECT_EQ(damage.inherited, expected.inherited * picture->macroblocks);
        EXPECT_EQ(damage.standsIn, expected.standsIn);
        EXPECT_EQ(picture->frame, expected.shown);
    }
    EXPECT_TRUE(SamplesOf(*Frame(file, 31)) == SamplesOf(*Frame(file, 30))) << "concealed by its reference";
    EXPECT_TRUE(SamplesOf(*Frame(file, 21)) == SamplesOf(*Frame(file, 20)));
    const Samples grey = SamplesOf(*Frame(file, 5));
    EXPECT_EQ(std::count(grey.begin(), grey.end(), 128), static_cast<std::ptrdiff_t>(grey.size()));
}

TEST_F(FrameDecoderTest, OnlyUsableFramesStandIn) {
    const IndexedFile file(kStreams / "ip-64x48.m2v", [](Records& ioRecords) {
        for (std::size_t record = 10; record < ioRecords.size(); ++record) {
            if (record != 12) ioRecords[record].size = 0;
        }
    });
    const SharedPicture later = Frame(file, 0, 10);
    ASSERT_NE(later, nullptr);
    EXPECT_TRUE(later->damage.standsIn);
    EXPECT_EQ(later->frame, 2u) << "9 is before the first usable frame, 10 and 11 are missing";
    EXPECT_EQ(Frame(file, 3, 7)->frame, 2u) << "9, counted from 7";
    EXPECT_EQ(Frame(file, 3, 13), nullptr);
}

// Each stream lies once at the beginning, where its tables and headers are looked for, and once far behind
// it.
TEST_F(FrameDecoderTest, PicturesBeyondFourGiB) {
    constexpr std::uint64_t kFar = 0x140000000;
    const TemporaryFolder folder;
    mCache.SetBudget(0);  // it knows the files apart by a number that is always the same here
    for (const char* name : {"tiny-64x48.m2v", "tiny-100x76.mpg", "tiny-64x48.ts"}) {
        SCOPED_TRACE(name);
        const std::string stream = ReadFile(kStreams / name);
        const auto media = WriteFile(folder / name, stream);
        std::fstream(media, std::ios::binary | std::ios::in | std::ios::out).seekp(kFar) << stream;
        Vexmora::Test::DecodeChain near(kStreams / name, Vexmora::Test::Scale::Full, Services());
        const IndexedFile far(media, kStreams / name, [](Records& ioRecords) {
            for (Vexmora::FrameRecord& record : ioRecords) record.offset += kFar;
        });
        ASSERT_EQ(far.AllRecords().size(), 10u);
        for (std::uint32_t frame = 0; frame < 10; ++frame) {
            const SharedPicture picture = Frame(far, frame);
            EXPECT_TRUE(picture->damage.None()) << frame;
            EXPECT_TRUE(SamplesOf(*picture) == near.Shown(static_cast<std::int32_t>(frame)));
        }
    }
}

// Runs inTask on a thread whose stack would not hold a call for each picture of a long chain.
template <typename Task>
void RunOnSmallStack(Task inTask) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{512} << 10), 0);
    pthread_t thread;
    const auto run = [](void* inArgument) -> void* {
        (*static_cast<Task*>(inArgument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &inTask), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
}

// One I picture and P pictures, each predicted from the one before: none may be held longer than needed.
TEST_F(FrameDecoderTest, LongChainsTakeNeitherStackNorPictures) {
    constexpr std::uint32_t kLength = 5000;
    const IndexedFile file(kStreams / "ip-64x48.m2v", [](Records& ioRecords) {
        const Vexmora::FrameRecord predicted = ioRecords[1];
        ioRecords.resize(1);
        ioRecords.resize(kLength, predicted);
    });
    mCache.SetBudget(0);
    SharedPicture last;
    std::size_t most = 0;
    {
        const std::jthread watcher([&](const std::stop_token& inStop) {
            while (!inStop.stop_requested()) most = std::max(most, mMemory.LiveBlocks());
        });
        RunOnSmallStack([&] { last = Frame(file, kLength - 1); });
    }
    ASSERT_NE(last, nullptr);
    EXPECT_TRUE(last->damage.None());
    EXPECT_LE(most, 3u) << "alive at once";
    last.reset();
    EXPECT_EQ(mMemory.LiveBlocks(), 0u);
}

}  // namespace
}  // namespace VexmoraHost
