// Every way of asking for frames gives the same pictures and tells the same damage: in any order, packaging
// and scale, with any cache, decoded ahead on several threads, by several movies at once; whatever changes on
// the way, quantiser matrices of sequence headers and of pictures and broken extensions among it.
#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "Decoding/DecodeChain.h"
#include "Host/HostTestSupport.h"
#include "PlainDecode.h"
#include "Support/Matrices.h"
#include "Support/Options.h"
#include "Syntax/RandomStream.h"
#include "VexmoraHost/Movie.h"
#include "frames/FrameWorkers.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;
using Vexmora::Test::Bytes;
using Vexmora::Test::kIsSanitized;
const fs::path kStreams = VEXMORA_STREAM_DIR;

struct Seen {
    explicit Seen(const Picture& inPicture)
        : samples(SamplesOf(inPicture)), frame(inPicture.frame), damage(inPicture.damage) {}

    friend bool operator==(const Seen& inLeft, const Seen& inRight) {
        const auto facts = [](const Seen& in) {
            return std::tuple(in.frame, in.damage.status, in.damage.macroblocks, in.damage.inherited,
                              in.damage.standsIn);
        };
        return facts(inLeft) == facts(inRight) && inLeft.samples == inRight.samples;
    }

    Samples samples;
    std::uint32_t frame;
    PictureDamage damage;
};

// Leaves the caches as they were, and empty.
class Runs : public testing::Test {
  protected:
    Runs() { ProcessFrameCache().SetBudget(0); }
    ~Runs() override {
        ProcessFrameCache().SetBudget(kDefaultFrameCacheBytes);
        ClearCaches();
    }
    static void ClearCaches() {
        ProcessFrameCache().Clear();
        ProcessBlockCache().Clear();
    }
    Movie Open(const fs::path& inPath) const { return Movie::Open(inPath, {.indexDir = mFolder / "store"}); }

    TemporaryFolder mFolder;
};

// All ways of asking for the frames of a file at one scale, held against one by one without a cache.
class WaysOfAsking : public Runs {
  protected:
    void DecodeInOrder(const fs::path& inMedia, Scale inScale) {
        Movie movie = Open(inMedia);
        mCount = std::min(movie.Info().frameCount, kIsSanitized ? 14u : 48u);
        mExpected.clear();
        ProcessFrameCache().SetBudget(0);
        for (std::uint32_t frame = 0; frame < mCount; ++frame) {
            mExpected.emplace_back(*movie.Frame(frame, inScale));
        }
    }
    void Ask(const fs::path& inMedia, Scale inScale) {
        DecodeInOrder(inMedia, inScale);
        Movie movie = Open(inMedia);
        for (const unsigned threads : {1u, 2u, 5u}) AskByRun(movie, 0, inScale, threads);
        AskByRun(movie, mCount / 4, inScale, 3);
        for (const std::size_t budget : {std::size_t{0}, std::size_t{40000}, kDefaultFrameCacheBytes}) {
            ProcessFrameCache().SetBudget(budget);
            for (const unsigned seed : {kReverse, 2u}) {
                Movie own = Open(inMedia);  // it knows nothing of what other pictures need
                AskInOrder(own, inScale, seed);
            }
            EXPECT_LE(ProcessFrameCache().Bytes(), budget);
        }
        std::vector<std::jthread> threads;  // movies of one file, with caches that they share
        for (unsigned seed = kForward; seed < 4; ++seed) {
            threads.emplace_back([&, seed] {
                // Two of them index it in another folder, at the same time.
                const auto store = mFolder / (seed < 2 ? "store" : "other");
                Movie own = Movie::Open(inMedia, {.indexDir = store});
                AskInOrder(own, inScale, seed, true);
            });
        }
        threads.clear();
        ProcessFrameCache().Clear();
    }
    void AreThoseOfTheExports(const fs::path& inMedia, Scale inScale) {
        Vexmora::Test::DecodeChain plain(inMedia, static_cast<Vexmora::DecodeScale>(inScale), Services());
        const std::uint32_t first = Open(inMedia).Info().firstFrame;
        for (std::uint32_t frame = 0; frame < mCount; ++frame) {
            EXPECT_TRUE(mExpected[frame].damage.None()) << frame;
            EXPECT_EQ(mExpected[frame].frame, frame);
            const auto record = static_cast<std::int32_t>(first + frame);
            EXPECT_TRUE(mExpected[frame].samples == plain.Shown(record)) << frame;
        }
    }
    // The video in each packaging; asks in all ways for one of them.
    void AskOfAny(const Bytes& inVideo, std::size_t inNumber, Scale inScale) {
        using namespace Vexmora::Test;
        const auto begin = [](const Bytes& inBytes) {
            return [=](std::size_t inPacket) { return inPacket == 0 ? inBytes : Bytes{}; };
        };
        const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
        const Bytes packagings[] = {
            inVideo,
            ProgramStream(inVideo, {.payloadSizes = {2001, 97}, .before = begin(PackHeader())}).bytes,
            TransportStream(inVideo, {.payloadSizes = {150}, .before = begin(tables)}).bytes};
        std::vector<Seen> first;
        for (std::size_t kind = 0; kind < 3; ++kind) {
            const fs::path media = mFolder / "media";
            WriteAll(media, packagings[kind]);
            kind == inNumber % 3 ? Ask(media, inScale) : DecodeInOrder(media, inScale);
            if (kind == 0) first = mExpected;
            EXPECT_TRUE(mExpected == first) << "packaging " << kind;
        }
    }

    std::vector<Seen> mExpected;

  private:
    static constexpr unsigned kForward = 0;
    static constexpr unsigned kReverse = 1;  // what is more seeds a random order

    void AskByRun(Movie& ioMovie, std::uint32_t inFirst, Scale inScale, unsigned inThreads) const {
        FrameRun run = ioMovie.Run(inFirst, mCount - inFirst, inScale, inThreads);
        for (std::uint32_t frame = inFirst; frame < mCount; ++frame) {
            EXPECT_TRUE(Seen(*run.Next()) == mExpected[frame]) << frame << ", " << inThreads << " threads";
        }
        EXPECT_EQ(run.Next(), nullptr);
    }

    void AskInOrder(Movie& ioMovie, Scale inScale, unsigned inSeed, bool inChangesBudget = false) const {
        std::vector<std::uint32_t> order(mCount);
        std::iota(order.begin(), order.end(), 0u);
        if (inSeed == kReverse) std::reverse(order.begin(), order.end());
        if (inSeed > kReverse) std::shuffle(order.begin(), order.end(), std::mt19937(inSeed));
        for (const std::uint32_t frame : order) {
            EXPECT_TRUE(Seen(*ioMovie.Frame(frame, inScale)) == mExpected[frame]) << frame << ", " << inSeed;
            if (inChangesBudget && frame % 16 == 0) ProcessFrameCache().SetBudget(frame % 32 * 6000);
        }
    }

    std::uint32_t mCount = 0;
};

TEST_F(WaysOfAsking, GiveTheSamePictures) {
    const std::pair<const char*, std::vector<Scale>> rows[] = {
        {"b3-100x76.ts", {Scale::Full, Scale::HalfWidth, Scale::Quarter}},
        {"small-100x76.mpg", {Scale::Full, Scale::Quarter}},
        {"started-open.m2v", {Scale::Quarter}},
        {"enc-bottom-352x256.m2v", {Scale::Full}},
        {"b3-closed-352x240.m2v", {Scale::Quarter}},
        {"ip-64x48.m2v", {Scale::Full}},
        {"intra-176x144.m2v", {Scale::HalfWidth}}};
    for (const auto& [name, scales] : rows) {
        SCOPED_TRACE(name);
        for (const Scale scale : scales) {
            Ask(kStreams / name, scale);
            AreThoseOfTheExports(kStreams / name, scale);
        }
    }
}

TEST_F(WaysOfAsking, TellTheSameDamage) {
    std::mt19937 random(3);
    std::uint32_t damaged = 0;
    std::uint32_t missing = 0;
    for (const char* const name : {"b2-open-352x288.m2v", "b3-100x76.ts", "ip-64x48.m2v"}) {
        for (int copy = 0; copy < (kIsSanitized ? 1 : 3); ++copy) {
            std::string bytes = ReadFile(kStreams / name);
            constexpr std::size_t kStart = 8000;
            for (std::size_t hits = bytes.size() / 10000; hits > 0; --hits) {
                const std::size_t at = kStart + random() % (bytes.size() - kStart);
                const std::size_t end = std::min(at + random() % 200, bytes.size());
                const unsigned least = random() % 4 == 0 ? 0 : 1;  // with and without start codes
                for (std::size_t i = at; i < end; ++i) bytes[i] = static_cast<char>(least + random() % 255);
            }
            const fs::path media = WriteFile(mFolder / (std::to_string(copy) + name), bytes);
            SCOPED_TRACE(media);
            Ask(media, Scale::Full);
            for (const Seen& seen : mExpected) {
                damaged += seen.damage.macroblocks > 0 ? 1 : 0;
                missing += seen.damage.standsIn || seen.damage.status != Vexmora_Ok ? 1 : 0;
            }
        }
    }
    EXPECT_GT(damaged, kIsSanitized ? 0u : 50u);
    EXPECT_TRUE(missing > 0 || kIsSanitized);
}

// Each picture ends within a macroblock, of which the library writes the blocks before that.
TEST_F(Runs, ShowNothingOfOldMemoryInFieldsThatEndEarly) {
    Vexmora::Test::Features unused;
    for (const auto& plan : Vexmora::Test::kStreamPlans) {
        if (!plan.HasFields() || plan.height > 96) continue;
        auto stream = MakeRandomStream(plan, 5, unused);
        for (auto& picture : stream.pictures) picture.bytes.resize(picture.bytes.size() - 20);
        const fs::path media = mFolder / plan.name;
        Vexmora::Test::WriteAll(media, stream.All());
        for (const Scale scale : kScales) {
            std::vector<Seen> seen;
            for (const int old : {0x40, 0xA0}) {
                mallopt(M_PERTURB, old);
                Movie movie = Open(media);
                for (std::uint32_t frame = 0; frame < 6; ++frame) {
                    seen.emplace_back(*movie.Frame(frame, scale));
                    EXPECT_GT(seen.back().damage.macroblocks, 0u) << plan.name << ", " << frame;
                }
            }
            mallopt(M_PERTURB, 0);
            EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + 6, seen.begin() + 6)) << plan.name;
        }
    }
}

// Flips a bit of one extension in five, behind the first: of a sequence's or a picture's identifier, of load
// flags and weights, of f_codes.
Bytes BreakExtensions(Bytes inVideo, unsigned inSeed) {
    std::mt19937 random(inSeed);
    for (const auto& [identifier, first, count] : {std::array{1u, 0u, 4u}, {3u, 4u, 16u}, {8u, 0u, 20u}}) {
        const std::vector<std::size_t> extensions = Vexmora::Test::Extensions(inVideo, identifier);
        for (std::size_t i = 1; i < extensions.size(); ++i) {
            const std::size_t bit = first + random() % count;
            if (random() % 5 != 0) continue;
            std::uint8_t& byte = inVideo[extensions[i] + 4 + bit / 8];
            byte = static_cast<std::uint8_t>(byte ^ 0x80u >> bit % 8);
        }
    }
    return inVideo;
}

std::vector<Bytes> ChangingVideos() {
    const auto read = [](const std::string& inName) { return Vexmora::Test::ReadAll(kStreams / inName); };
    std::vector<Bytes> videos{
        Vexmora::Test::Join({read("tools/quant-matrices.m2v"), read("tools/enc-matrices-kvcd.m2v"),
                             read("tools/quant-flat.m2v"), read("tools/enc-matrices-tmpgenc.m2v")}),
        Vexmora::Test::AddMatrices(
            Vexmora::Test::Join({read("tools/same-enc.m2v"), read("tools/same-rows.m2v")})),
        Vexmora::Test::AddMatrices(read("b1-100x76.m2v"))};
    Vexmora::Test::Features unused;
    for (const auto& plan : Vexmora::Test::kStreamPlans) {
        if (!plan.HasFields()) videos.push_back(MakeRandomStream(plan, 5, unused).All());
    }
    return videos;
}

TEST_F(WaysOfAsking, GiveOneListOfFramesInEveryPackaging) {
    const std::vector<Bytes> videos = ChangingVideos();
    for (std::size_t i = 0; i < videos.size(); i += kIsSanitized ? 5 : 1) {
        SCOPED_TRACE(i);
        AskOfAny(videos[i], i, kScales[i % 3]);
        EXPECT_TRUE(std::ranges::all_of(mExpected, [](const Seen& in) { return in.damage.None(); }));
        AskOfAny(BreakExtensions(videos[i], 3), i / 3, kScales[i % 3]);
        EXPECT_TRUE(std::ranges::any_of(mExpected, [](const Seen& in) { return in.damage.macroblocks > 0; }))
            << "a picture that lost its extension is named";
    }
}

TEST_F(Runs, MayBeLeftAtAnyFrameAndGoOnBesideOthers) {
    ProcessBlockCache().Clear();
    const std::size_t before = ProcessMemory().LiveBlocks();
    {
        Movie movie = Open(kStreams / "b2-open-352x288.m2v");
        const std::uint32_t frames = movie.Info().frameCount;
        for (const std::uint32_t given : {0u, 1u, 2u, 20u}) {
            FrameRun run = movie.Run(0, frames, Scale::Full, 3);
            FrameRun other = movie.Run(30, frames - 30, Scale::Quarter, 2);
            for (std::uint32_t frame = 0; frame < given; ++frame) {
                EXPECT_EQ(run.Next()->frame, frame);
                EXPECT_EQ(other.Next()->frame, 30 + frame);
                EXPECT_EQ(movie.Frame(60 - frame)->frame, 60 - frame);
            }
        }
        EXPECT_EQ(movie.Run(frames, 0).Next(), nullptr);
        EXPECT_THROW(static_cast<void>(movie.Run(1, frames)), Error);
        EXPECT_THROW(static_cast<void>(movie.Run(frames, 1)), Error);
    }
    ProcessBlockCache().Clear();
    EXPECT_EQ(ProcessMemory().LiveBlocks(), before);
}

// Each thread has a buffer instance of its own.
TEST_F(Runs, GiveTheFramesOfARecordingThatTheHostTakesApart) {
    Movie plain = Open(kStreams / "b3-100x76.ts");
    Movie own =
        Movie::Open(plain.Path(), {.indexDir = mFolder / "store", .choice = {.program = 1, .pid = {}}});
    const std::uint32_t count = plain.Info().frameCount;
    FrameRun run = own.Run(0, count, Scale::Quarter, 5);
    for (std::uint32_t frame = 0; frame < count; ++frame) {
        EXPECT_TRUE(SamplesOf(*run.Next()) == SamplesOf(*plain.Frame(frame, Scale::Quarter))) << frame;
    }
}

// Pictures come from the frame cache, which gets none; and helpers that have no handle are not missed.
TEST_F(Runs, TakeWhatTheCacheHasAndGoOnPastFramesWithoutPicture) {
    Memory memory;
    FrameCache cache(std::size_t{64} << 20);
    const IndexedFile file(kStreams / "ip-64x48.m2v", [](std::vector<Vexmora::FrameRecord>& ioRecords) {
        for (std::size_t record = 0; record < ioRecords.size(); ++record) {
            if (record >= 10 && record != 12) ioRecords[record].size = 0;
        }
    });
    const FrameSource sound = file.Source(cache, memory);
    const SharedPicture kept = FrameDecoder(sound, Scale::Full).Frame(4);
    const std::size_t pictures = cache.Count();
    FrameRun::Workers workers(sound, {3, 5}, Scale::Full, 4);
    for (std::uint32_t frame = 3; frame < 8; ++frame) {
        const SharedPicture picture = workers.Next();
        EXPECT_EQ(picture == kept, frame == 4);
        EXPECT_EQ(picture->frame, frame);
    }
    EXPECT_EQ(workers.Left(), 0u);
    EXPECT_EQ(cache.Count(), pictures);

    FrameSource cut = file.Source(cache, memory, 10);
    EXPECT_EQ(FrameRun::Workers(cut, {1, 1}, Scale::Full, 4).Next()->frame, 2u);
    cut.firstFrame = 20;
    cut.frameCount = 5;
    FrameRun::Workers lost(cut, {0, 2}, Scale::Full, 4);
    EXPECT_EQ(lost.Next(), nullptr);
    EXPECT_EQ(lost.Next(), nullptr);
    EXPECT_EQ(lost.Left(), 0u);
}

TEST_F(WaysOfAsking, SharePicturesThatOutliveTheirMovies) {
    ProcessFrameCache().SetBudget(kDefaultFrameCacheBytes);
    ClearCaches();
    const std::size_t before = ProcessMemory().LiveBlocks();
    SharedPicture held;
    {
        Movie first = Open(kStreams / "b2-open-352x288.m2v");
        Movie second = Open(first.Path());
        held = first.Frame(20);
        EXPECT_EQ(second.Frame(20), held);
        EXPECT_NE(second.Frame(20, Scale::Quarter), held);
        EXPECT_EQ(held->luma.width, 352u);
        EXPECT_EQ(held->cr.height, 144u);
        EXPECT_EQ(held->macroblocks, 22u * 18);
        try {
            static_cast<void>(first.Frame(first.Info().frameCount));
            FAIL();
        } catch (const Error& error) {
            EXPECT_EQ(error.Status(), Vexmora_NoSuchFrame);
            EXPECT_EQ(error.Path(), first.Path());
        }
    }
    const Samples samples = SamplesOf(*held);
    ClearCaches();
    EXPECT_TRUE(SamplesOf(*held) == samples);
    EXPECT_EQ(ProcessMemory().LiveBlocks(), before + 1);
    held.reset();
    ClearCaches();
    EXPECT_EQ(ProcessMemory().LiveBlocks(), before);
}

}  // namespace
}  // namespace VexmoraHost
