// Every call that the library makes fails once in turn, in whole runs over the three kinds of streams, and at
// random: the status is the one documented for that call, nothing is leaked or left locked, and all goes well
// afterwards.
//
// VEXMORA_STRIDE: 1 for every call, also of those that are made very often. VEXMORA_RUNS: how many runs with
// random failures; VEXMORA_SEED: of the first.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "Faults/WholeRun.h"
#include "Host/HostTestSupport.h"
#include "Support/Options.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

constexpr std::array kHostCalls{
    Call::PictureMemory, Call::PictureAddress, Call::BlockMemory,   Call::BlockAddress,  Call::CacheFind,
    Call::CacheAdd,      Call::IndexFolder,    Call::MediaIdentity, Call::RegisterIndex, Call::FindIndex};
constexpr std::array kSystemCalls{Call::FileOpen, Call::FileFacts, Call::FileSeek,
                                  Call::FileRead, Call::FileWrite, Call::ThreadStart};

using VexmoraHost::OpenDescriptors;

void CheckStatuses(const RunResult& inRun, bool inHasCache) {
    for (std::uint32_t number = 0; number < inRun.steps.size(); ++number) {
        const auto [phase, status] = inRun.steps[number];
        // As ever is right, too, where none of the step's faults has a status of its own.
        bool mayBeAsEver = true;
        std::vector<std::int32_t> allowed;
        for (const InjectedFault& fault : inRun.faults) {
            if (fault.step != number) continue;
            const auto statuses = StatusesAfter(fault, phase, inHasCache);
            mayBeAsEver = mayBeAsEver && std::ranges::count(statuses, kAsEver) != 0;
            allowed.insert(allowed.end(), statuses.begin(), statuses.end());
        }
        const bool isAsEver = status == Vexmora_Ok || (status == Vexmora_NotFinished && phase == Phase::Open);
        EXPECT_TRUE((isAsEver && mayBeAsEver) || std::ranges::count(allowed, status) != 0)
            << "status " << status << " in phase " << static_cast<int>(phase);
    }
}

// The parameter: the packaging.
class Faults : public testing::TestWithParam<int> {
  protected:
    Faults()
        : mStream(MakePaddedStreams(fs::path(VEXMORA_STREAM_DIR) / "b1-100x76.m2v")
                      .at(static_cast<std::size_t>(GetParam()))),
          mPath(mFolder / "media.bin") {
        WriteAll(mPath, mStream.bytes);
        for (const bool hasCache : {false, true}) {
            FaultyHost host(mFolder.Path(), hasCache ? 7 : 0);
            mSound[hasCache] = WholeRun(host, mStream, mPath).Run({});
            DeleteIndex();
        }
    }

    void DeleteIndex() {
        for (const auto& entry : fs::directory_iterator(mFolder.Path())) {
            if (entry.path().extension() == ".mpgindex") fs::remove(entry.path());
        }
    }

    // A run with failures and one without, over a new host. Returns how many calls failed.
    std::size_t RunTwice(const FaultPlan& inPlan, bool inHasCache) {
        const std::size_t descriptors = OpenDescriptors();
        const std::int64_t heapBlocks = LiveHeapBlocks();
        const std::size_t faults = RunTwiceUnwatched(inPlan, inHasCache);
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_EQ(LiveHeapBlocks(), heapBlocks);
        return faults;
    }
    std::size_t RunTwiceUnwatched(const FaultPlan& inPlan, bool inHasCache) {
        const RunResult& sound = mSound.at(inHasCache);
        FaultyHost host(mFolder.Path(), inHasCache ? 7 : 0);
        WholeRun run(host, mStream, mPath);
        const RunResult failing = run.Run(inPlan);
        CheckStatuses(failing, inHasCache);
        EXPECT_EQ(failing.digests, sound.digests);
        EXPECT_EQ(host.LiveBlocks(), 0);
        for (const auto& entry : fs::directory_iterator(mFolder.Path())) {
            EXPECT_TRUE(entry.path() == mPath || entry.file_size() > sizeof(IndexHeader)) << entry.path();
        }
        DeleteIndex();
        host.Forget();
        const RunResult after = run.Run({});
        EXPECT_EQ(after.steps, sound.steps);
        EXPECT_EQ(after.digests, sound.digests);
        EXPECT_EQ(host.LiveBlocks(), 0);
        EXPECT_EQ(host.Misuses(), 0u);
        DeleteIndex();
        return failing.faults.size();
    }

    // Every call of a kind; of those that are made very often, some behind the first.
    void Sweep(Call inCall, bool inHasCache) {
        constexpr std::uint32_t kFirst = kIsSanitized ? 3 : 24;
        SCOPED_TRACE(std::string(NameOf(inCall)) + (inHasCache ? ", cached" : ""));
        unsigned runs = 0;
        for (std::uint32_t number = 1; !HasFailure(); number += number < kFirst ? 1 : mStride) {
            SCOPED_TRACE(number);
            if (RunTwice({.call = inCall, .number = number}, inHasCache) == 0) break;
            ++runs;
        }
        std::printf("%s%s: %u\n", NameOf(inCall), inHasCache ? ", cached" : "", runs);
    }

    const unsigned mStride = Option("VEXMORA_STRIDE", kIsSanitized ? 97 : 41);
    const VexmoraHost::TemporaryFolder mFolder;
    const PaddedStream mStream;
    const fs::path mPath;
    std::map<bool, RunResult> mSound;
};

TEST_P(Faults, EveryCallToTheHostInTurn) {
    for (const Call call : kHostCalls) Sweep(call, true);
    for (const Call call : {Call::BlockMemory, Call::BlockAddress}) Sweep(call, false);
}

TEST_P(Faults, EveryCallToTheSystemInTurn) {
    for (const Call call : kSystemCalls) Sweep(call, true);
}

TEST_P(Faults, TheHeapInTurn) {
    Sweep(Call::Heap, true);
}

TEST_P(Faults, AnyCallsAtRandom) {
    const unsigned seed = Option("VEXMORA_SEED", 1);
    const unsigned runs = Option("VEXMORA_RUNS", kIsSanitized ? 6 : 30);
    std::size_t faults = 0;
    for (unsigned run = 0; run < runs; ++run) {
        SCOPED_TRACE("VEXMORA_SEED=" + std::to_string(seed + run));
        const std::uint32_t perMillion = run % 2 == 0 ? 1'000 : 5'000;
        faults += RunTwice({.perMillion = perMillion, .seed = seed + run}, run % 4 < 2);
    }
    std::printf("failed calls: %zu\n", faults);
    EXPECT_GE(faults, runs);
}

// What is made once in a process is made in the shadow of a failure.
TEST(FaultsOfANewProcess, TheHeapInTurn) {
    const VexmoraHost::TemporaryFolder folder;
    const fs::path path = folder / "media.bin";
    fs::copy(fs::path(VEXMORA_STREAM_DIR) / "tiny-64x48.m2v", path);
    constexpr int kNoFault = 77;
    const auto runWith = [&](std::uint32_t inNumber) {
        FaultyHost host(folder.Path(), 0);
        const RunResult run = WholeRun(host, {}, path)
                                  .Run({.call = Call::Heap, .number = inNumber}, WholeRun::Length::UpToIndex);
        CheckStatuses(run, false);
        return run.faults.empty() ? kNoFault : HasFailure() || host.LiveBlocks() != 0 ? 1 : 0;
    };
    int exitCode = 0;
    std::uint32_t number = 0;
    const unsigned stride = Option("VEXMORA_STRIDE", kIsSanitized ? 7 : 1);
    while (exitCode == 0) {
        SCOPED_TRACE(number += stride);
        const pid_t child = fork();
        if (child == 0) _exit(runWith(number));
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << "it has died";
        exitCode = WEXITSTATUS(status);
        fs::remove(folder / "media.bin.mpgindex");
    }
    EXPECT_EQ(exitCode, kNoFault) << number;
    EXPECT_GT(number, 10u);
}

// More pictures than an indexer first has room for, in the three packagings, with sound.
std::vector<Bytes> LongStreams() {
    Bytes video = Join({SequenceHeader(), SequenceExtension()});
    for (unsigned number = 0; number < 9000; ++number) {
        const Bytes picture = Picture(number % 1000, number % 1000 == 0 ? kPictureTypeI : kPictureTypeP, 12);
        video.insert(video.end(), picture.begin(), picture.end());
    }
    video = Join({video, Slice(100)});
    const auto pts = [](std::size_t in) { return std::optional<std::uint64_t>(3600 * in); };
    const auto sound = [&](std::size_t in) { return PesPacket(0xC0, Slice(2), pts(in)); };
    const auto soundPacket = [&](std::size_t in) { return TransportPacket(kAudioPid, true, sound(in)); };
    const Packaging packs{.payloadSizes = {9000}, .before = sound, .pts = pts};
    const Packaging packets{.payloadSizes = {170}, .before = soundPacket, .pts = pts};
    return {video, Join({PackHeader(), ProgramStream(video, packs).bytes}),
            Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}, {3, kAudioPid}}),
                  TransportStream(video, packets).bytes})};
}

// Whatever calls inBody makes of the library: its status, or kThrown.
std::int32_t StatusOf(const std::function<Vexmora_Status()>& inBody) {
    try {
        const LibraryCode library;
        return inBody();
    } catch (const std::bad_alloc&) {
        return kThrown;
    }
}

// Whichever allocation fails, an indexer that has thrown and a file that could not be indexed fail for ever.
TEST(FaultsOfLongStreams, TheSameObjectIsDeadAfterwards) {
    const VexmoraHost::TemporaryFolder folder;
    const std::vector<Bytes> streams = LongStreams();
    for (const Bytes& stream : streams) {
        const std::size_t half = stream.size() / 2;
        WriteAll(folder / "media.bin", stream);
        const UTF16String path = ToUtf16(folder / "media.bin");
        unsigned thrown = 0;
        unsigned failed = 0;
        for (std::uint32_t number = 1; !HasFailure(); ++number) {
            SCOPED_TRACE(number);
            FaultyHost host(folder.Path(), 0);
            const HostServices services = host.Services();
            Vexmora_IndexerHandle indexer = nullptr;
            IndexResult index;
            const std::array<std::function<Vexmora_Status()>, 3> steps{
                [&] { return Vexmora_BufferIndexerScan(indexer, stream.data(), half, 0); },
                [&] { return Vexmora_BufferIndexerScan(indexer, &stream[half], stream.size() - half, half); },
                [&] {
                    return Vexmora_BufferIndexerDone(indexer, stream.size(), &index.header, &index.plan,
                                                     &index.records);
                }};
            const FaultInjection injection({.call = Call::Heap, .number = number});
            StatusOf([&] { return Vexmora_CreateIndexerFromFirstBuffer(stream.data(), &indexer); });
            bool isDead = indexer == nullptr;
            for (const auto& step : steps) {
                const std::int32_t status = StatusOf(step);
                EXPECT_EQ(status, isDead ? Vexmora_Failure : status == kThrown ? kThrown : Vexmora_Ok);
                thrown += status == kThrown;
                isDead = isDead || status == kThrown;
            }
            EXPECT_EQ(index.records.size(), isDead ? 0u : 9000u);
            Vexmora_BufferIndexerDestroy(&indexer);

            Vexmora_Handle handle = nullptr;
            float progress = 0;
            const auto indexFile = [&] { return Vexmora_IndexFile(handle, &progress, false); };
            StatusOf([&] { return Vexmora_OpenFile(path, services, &handle, nullptr, false); });
            if (handle != nullptr && StatusOf(indexFile) != Vexmora_Ok) {
                ++failed;
                EXPECT_EQ(StatusOf(indexFile), Vexmora_Failure);
            }
            Vexmora_CloseFile(handle);
            fs::remove(folder / "media.bin.mpgindex");
            if (injection.Faults().empty()) break;
        }
        std::printf("thrown: %u, failed: %u\n", thrown, failed);
        EXPECT_GE(thrown, stream == streams.front() ? 2u : 3u);  // both vectors; with sound, finishing
        EXPECT_GE(failed, 5u);
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Faults, testing::Range(0, 3));

}  // namespace
}  // namespace Vexmora::Test
