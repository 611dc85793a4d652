// Many handles on many threads over one small block cache, while others open, close, start up and shut down:
// every picture is the one that a single handle decodes, and memory stays flat.
//
// VEXMORA_SECONDS: how long; VEXMORA_SEED: of what the threads do.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <fstream>
#include <random>
#include <thread>

#include "Decoding/PaddedStreams.h"
#include "Host/HostTestSupport.h"
#include "Support/Options.h"
#include "memory/HostServices.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kThreads = 8;
constexpr std::size_t kHandlesPerThread = 8;
constexpr std::size_t kBlockBytes = 0x12D000;
constexpr std::size_t kCacheBytes = 8 * kBlockBytes;  // fewer than the files have

// A file, its index, and all of its pictures as one handle alone decodes them. The index of a damaged copy is
// that of the sound file.
class Media {
  public:
    Media(const fs::path& inPath, const fs::path& inIndexed, std::uint8_t inNumber)
        : mPath(ToUtf16(inPath)),
          mServices(VexmoraHost::Services(VexmoraHost::CacheIdFor({.bytes = {inNumber}}))),
          mIndex(Index(ReadAll(inIndexed))),
          mStatuses(mIndex.records.size()) {
        const Vexmora_Handle handle = Open();
        for (std::size_t scale = 0; scale < kScales.size(); ++scale) {
            mPictures[scale].assign(mIndex.records.size(), NewPicture(handle, 0));
            // Anchors first: B pictures lie between those that they are predicted from.
            for (const bool isB : {false, true}) {
                for (std::size_t frame = 0; frame < mIndex.records.size(); ++frame) {
                    if ((PictureCodingType(mIndex.records[frame]) == kPictureTypeB) != isB) continue;
                    mStatuses[frame] = Decode(handle, frame, scale, mPictures[scale][frame]);
                    EXPECT_TRUE(inPath != inIndexed || mStatuses[frame] == Vexmora_Ok);
                }
            }
        }
        EXPECT_EQ(Vexmora_CloseFile(handle), Vexmora_Ok);
    }

    Vexmora_Handle Open() const {
        Vexmora_Handle handle = nullptr;
        EXPECT_EQ(Vexmora_OpenFileWithIndex(mPath, mServices, mIndex.header, mIndex.records, &handle),
                  Vexmora_Ok);
        return handle;
    }
    std::size_t FrameCount() const { return mIndex.records.size(); }

    // Whether a frame, predicted from the pictures kept, is the one kept.
    bool IsDecodedRight(Vexmora_Handle inHandle, std::size_t inFrame, std::size_t inScale) const {
        const Picture420& expected = mPictures[inScale][inFrame];
        Picture420 picture(static_cast<std::uint32_t>(expected.luma.size()),
                           static_cast<std::uint32_t>(expected.cb.size()), 0);
        return Decode(inHandle, inFrame, inScale, picture) == mStatuses[inFrame] && picture == expected;
    }

  private:
    Vexmora_Status Decode(Vexmora_Handle inHandle, std::size_t inFrame, std::size_t inScale,
                          Picture420& outPicture) const {
        const auto planesOf = [&](std::int32_t in) {
            // References are only read.
            return const_cast<Picture420&>(mPictures[inScale].at(static_cast<std::size_t>(in))).Planes();
        };
        return DecodeFrame(inHandle, static_cast<std::int32_t>(inFrame), kScales[inScale], planesOf,
                           outPicture);
    }

    const UTF16String mPath;
    const HostServices mServices;
    const IndexResult mIndex;
    std::vector<Vexmora_Status> mStatuses;
    std::array<std::vector<Picture420>, kScales.size()> mPictures;
};

std::size_t ResidentBytes() {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

class Load : public testing::Test {
  protected:
    struct Slot {
        const Media* media = nullptr;
        Vexmora_Handle handle = nullptr;
    };
    struct Worker {
        std::mt19937 random;
        std::array<Slot, kHandlesPerThread> slots{};
        std::uint64_t decoded = 0;
        std::uint64_t wrong = 0;
        std::uint64_t opened = 0;
        std::size_t mostHostBytes = 0;

        std::size_t Below(std::size_t inLimit) { return random() % inLimit; }
    };

    Load() {
        const fs::path streams = VEXMORA_STREAM_DIR;
        std::vector<fs::path> paths;
        for (const char* name : {"ip-64x48.m2v", "tiny-odd-96x80.m2v", "small-100x76.mpg", "b3-100x76.ts"})
            paths.push_back(streams / name);
        for (const PaddedStream& stream : MakePaddedStreams(streams / "b1-100x76.m2v")) {
            paths.push_back(mFolder / std::to_string(paths.size()));
            WriteAll(paths.back(), stream.bytes);
        }
        const VexmoraHost::Library library;
        std::mt19937 random(5);
        for (const fs::path& path : paths) {
            const fs::path damaged = mFolder / (path.filename().string() + "-damaged");
            WriteAll(damaged, DamageAnywhere(random, ReadAll(path), 160));
            for (const fs::path& copy : {path, damaged})
                mMedia.emplace_back(copy, path, static_cast<std::uint8_t>(mMedia.size() + 1));
        }
        VexmoraHost::ProcessBlockCache().Clear();
        VexmoraHost::ProcessBlockCache().SetBudget(kCacheBytes);
    }

    void Reopen(Worker& ioWorker, Slot& ioSlot) {
        EXPECT_EQ(Vexmora_CloseFile(ioSlot.handle), Vexmora_Ok);
        ioSlot.media = &mMedia[ioWorker.Below(mMedia.size())];
        ioSlot.handle = ioSlot.media->Open();
        ++ioWorker.opened;
    }

    void DecodeOne(Worker& ioWorker) {
        constexpr std::size_t kReopenEvery = 24;
        Slot& slot = ioWorker.slots[ioWorker.Below(kHandlesPerThread)];
        if (ioWorker.Below(kReopenEvery) == 0) Reopen(ioWorker, slot);
        const std::size_t frame = ioWorker.Below(slot.media->FrameCount());
        if (!slot.media->IsDecodedRight(slot.handle, frame, ioWorker.Below(kScales.size()))) {
            ++ioWorker.wrong;
        }
        ++ioWorker.decoded;
        ioWorker.mostHostBytes = std::max(ioWorker.mostHostBytes, VexmoraHost::ProcessMemory().LiveBytes());
    }

    // One thread's round: it keeps the library started, as each of them does for itself.
    void Work(Worker& ioWorker, Clock::time_point inEnd) {
        const VexmoraHost::Library library;
        while (Clock::now() < inEnd) DecodeOne(ioWorker);
    }

    // Starts up and shuts down, and opens what it closes at once or what cannot be opened.
    void Race(std::uint32_t inSeed, Clock::time_point inEnd) {
        std::mt19937 random(inSeed);
        while (Clock::now() < inEnd) {
            const VexmoraHost::Library library;
            Vexmora_Handle handle = nullptr;
            std::uint8_t* buffer = nullptr;
            switch (random() % 3) {
                case 0:
                    handle = mMedia[random() % mMedia.size()].Open();
                    break;
                case 1:
                    EXPECT_EQ(Vexmora_OpenBufferInstance(VexmoraHost::Services(), 65536, &handle, &buffer),
                              Vexmora_Ok);
                    break;
                default:
                    EXPECT_EQ(Vexmora_OpenFile(ToUtf16(mFolder / "nowhere"), VexmoraHost::Services(), &handle,
                                               nullptr, false),
                              Vexmora_Unsupported);
            }
            EXPECT_EQ(Vexmora_CloseFile(handle), Vexmora_Ok);
        }
    }

    const VexmoraHost::TemporaryFolder mFolder;
    std::deque<Media> mMedia;
};

TEST_F(Load, ManyHandlesOverOneCacheStayRightAndTakeNoMoreMemory) {
    const unsigned seconds = Option("VEXMORA_SECONDS", 5);
    const unsigned seed = Option("VEXMORA_SEED", 1);
    constexpr unsigned kRounds = 20;  // the library is shut down after each
    const std::size_t ownBytes = ResidentBytes();
    std::vector<Worker> workers(kThreads);
    for (std::size_t i = 0; i < kThreads; ++i) {
        workers[i].random.seed(seed + static_cast<unsigned>(i));
        for (Slot& slot : workers[i].slots) Reopen(workers[i], slot);
    }
    // New handles share their first blocks: it takes a while until each of them has one of its own, and until
    // then memory grows. Long runs begin behind that, and can tell whether it goes on.
    const bool isLong = seconds >= 60;
    for (std::size_t i = 0; isLong && i < kThreads * kHandlesPerThread * 16; ++i)
        DecodeOne(workers[i % kThreads]);
    std::vector<std::size_t> hostBytes;  // the most of each round
    std::vector<std::size_t> residentBytes;
    for (unsigned round = 0; round < kRounds; ++round) {
        const auto end = Clock::now() + std::chrono::milliseconds(1000 * seconds / kRounds);
        std::vector<std::jthread> threads;
        for (Worker& worker : workers) {
            worker.mostHostBytes = 0;
            threads.emplace_back([&] { Work(worker, end); });
        }
        threads.emplace_back([&] { Race(seed + round, end); });
        threads.clear();
        hostBytes.push_back(std::ranges::max(workers, {}, &Worker::mostHostBytes).mostHostBytes);
        residentBytes.push_back(ResidentBytes());
        // Beyond what is in use: what the allocator keeps, and spare blocks.
        const std::size_t inUse = ownBytes + VexmoraHost::ProcessMemory().LiveBytes() * 13 / 10;
        EXPECT_TRUE(kIsSanitized || residentBytes.back() < inUse + (64 << 20)) << residentBytes.back();
    }
    Worker all;
    for (Worker& worker : workers) {
        all.decoded += worker.decoded;
        all.wrong += worker.wrong;
        all.opened += worker.opened;
        for (const Slot& slot : worker.slots) EXPECT_EQ(Vexmora_CloseFile(slot.handle), Vexmora_Ok);
    }
    EXPECT_EQ(all.wrong, 0u);
    EXPECT_GT(all.decoded, kThreads * kHandlesPerThread);
    std::printf("%llu frames decoded, %llu handles opened, %zu MiB of the host, %zu MiB resident\n",
                static_cast<unsigned long long>(all.decoded), static_cast<unsigned long long>(all.opened),
                std::ranges::max(hostBytes) >> 20, std::ranges::max(residentBytes) >> 20);
    // Every handle has a block and may be reading one ahead; every thread has a buffer for a picture.
    constexpr std::size_t kHandles = kThreads * kHandlesPerThread + 1;
    EXPECT_LT(std::ranges::max(hostBytes),
              2 * kHandles * kBlockBytes + kCacheBytes + (kThreads + 1) * 3 * kBlockBytes);
    for (const auto& bytes : {hostBytes, residentBytes}) {
        const auto mostFrom = [&](std::ptrdiff_t inRound) {
            return *std::max_element(bytes.begin() + inRound, bytes.begin() + inRound + kRounds / 10);
        };
        EXPECT_TRUE(!isLong || kIsSanitized || mostFrom(kRounds - kRounds / 10) < mostFrom(0) * 5 / 4);
    }
    VexmoraHost::ProcessBlockCache().Clear();
    EXPECT_EQ(VexmoraHost::ProcessMemory().LiveBlocks(), 0u);
}

}  // namespace
}  // namespace Vexmora::Test
