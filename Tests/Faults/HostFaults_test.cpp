// Every call that the reference host, its registry and the library make to the system fails once in turn: a
// movie opens or says why not, pictures are right or say that they are not, and the same movie is sound
// afterwards, with no cache emptied in between.
#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include "Faults/WholeRun.h"
#include "Host/HostTestSupport.h"
#include "Host/PlainDecode.h"
#include "Support/Options.h"
#include "VexmoraHost/Movie.h"
#include "memory/HostServices.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;
using VexmoraHost::Movie;
using VexmoraHost::SharedPicture;

// What came of opening a movie and asking for all of its frames.
struct Outcome {
    std::optional<Vexmora_Status> failure;  // of opening
    bool lackedMemory = false;
    std::vector<std::optional<std::size_t>> digests;  // none for a picture that says it is not sound
    std::vector<InjectedFault> faults;
};

class HostFaults : public testing::Test {
  protected:
    HostFaults() {
        WriteAll(mMedia, MakePaddedStreams(fs::path(VEXMORA_STREAM_DIR) / "b1-100x76.m2v").back().bytes);
    }

    Outcome Run(const FaultPlan& inPlan, const fs::path& inStore) const {
        Outcome outcome;
        const FaultInjection injection(inPlan);
        const auto attempt = [&](auto inBody) {
            try {
                const LibraryCode library;
                inBody();
            } catch (const VexmoraHost::Error& error) {
                outcome.failure = error.Status();
            } catch (const std::bad_alloc&) {
                outcome.lackedMemory = true;
            }
        };
        std::optional<Movie> movie;
        attempt([&] { movie = Movie::Open(mMedia, {.indexDir = inStore, .blockCacheBytes = 2'000'000}); });
        if (movie) {
            for (const auto scale : {VexmoraHost::Scale::Full, VexmoraHost::Scale::Quarter}) {
                for (std::uint32_t frame = 0; frame < movie->Info().frameCount; ++frame) {
                    SharedPicture picture;
                    attempt([&] { picture = movie->Frame(frame, scale); });
                    const bool isSound = picture != nullptr && picture->damage.None();
                    const auto samples = isSound ? SamplesOf(*picture) : VexmoraHost::Samples();
                    outcome.digests.push_back(
                        isSound ? std::optional(DigestOf(samples.data(), samples.size())) : std::nullopt);
                }
            }
        }
        outcome.faults = injection.Faults();
        return outcome;
    }

    static void EmptyCaches() {
        VexmoraHost::ProcessBlockCache().Clear();
        VexmoraHost::ProcessFrameCache().Clear();
    }

    // What a failed call may come to: as documented for Movie and Error.
    void Check(const Outcome& inOutcome, const Outcome& inSound) const {
        const Call call = inOutcome.faults.front().call;
        EXPECT_FALSE(inOutcome.lackedMemory && call != Call::Heap);
        if (inOutcome.failure) {
            std::vector<Vexmora_Status> allowed{Vexmora_Failure, Vexmora_IndexNotWritten};
            // The library takes media that it cannot look at for no MPEG-2 video.
            if (call <= Call::FileRead && call >= Call::FileOpen) allowed.push_back(Vexmora_Unsupported);
            EXPECT_NE(std::ranges::count(allowed, *inOutcome.failure), 0) << *inOutcome.failure;
        }
        if (inOutcome.digests.empty()) {
            EXPECT_TRUE(inOutcome.failure || inOutcome.lackedMemory);
            return;
        }
        ASSERT_EQ(inOutcome.digests.size(), inSound.digests.size());
        for (std::size_t i = 0; i < inSound.digests.size(); ++i) {
            if (!inOutcome.digests[i]) continue;
            EXPECT_EQ(inOutcome.digests[i], inSound.digests[i]) << "frame " << i;
        }
    }

    const VexmoraHost::TemporaryFolder mFolder;
    const fs::path mMedia = mFolder / "media.bin";
    const unsigned mStride = Option("VEXMORA_STRIDE", kIsSanitized ? 97 : 41);
};

TEST_F(HostFaults, EveryCallToTheSystemInTurn) {
    const Outcome sound = Run({}, mFolder / "sound");
    ASSERT_FALSE(sound.digests.empty());
    ASSERT_TRUE(std::ranges::all_of(sound.digests, [](const auto& in) { return in.has_value(); }));
    for (const Call call : {Call::FileOpen, Call::FileFacts, Call::FileSeek, Call::FileRead, Call::FileWrite,
                            Call::FileFlush, Call::ThreadStart, Call::Heap}) {
        SCOPED_TRACE(NameOf(call));
        const std::uint32_t stride = call == Call::Heap ? mStride : kIsSanitized ? 5 : 1;
        unsigned runs = 0;
        for (std::uint32_t number = 1; !HasFailure(); number += stride) {
            SCOPED_TRACE(number);
            EmptyCaches();
            const fs::path store = mFolder / (NameOf(call) + std::to_string(number));
            const Outcome outcome = Run({.call = call, .number = number}, store);
            if (outcome.faults.empty()) break;
            ++runs;
            Check(outcome, sound);
            EXPECT_TRUE(Run({}, store).digests == sound.digests) << "afterwards";
            EmptyCaches();
            EXPECT_EQ(VexmoraHost::ProcessMemory().LiveBlocks(), 0u);
            // Where memory is lacking a folder may stay, which the store clears away in time.
            EXPECT_TRUE(call == Call::Heap || fs::is_empty(store / "writing"));
            fs::remove_all(store);
        }
        std::printf("%s: %u\n", NameOf(call), runs);
    }
}

}  // namespace
}  // namespace Vexmora::Test
