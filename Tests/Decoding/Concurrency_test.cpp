// Sound and damaged pictures on all processors, through several handles at once: the same as on one.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "Decoding/CodedVideo.h"
#include "Host/HostTestSupport.h"
#include "Support/OneProcessor.h"
#include "memory/HostServices.h"

namespace Vexmora::Test {
namespace {

struct Decoded {
    std::vector<Vexmora_Status> statuses;
    std::vector<Picture420> frames;
    friend bool operator==(const Decoded&, const Decoded&) = default;
};

// Files of one video, the first one sound, each of which has its own blocks in the cache of the process.
class DamagedCopies {
  public:
    DamagedCopies(const Bytes& inVideo, std::uint32_t inCount) : mIndex(Index(inVideo)) {
        std::mt19937 random(5);
        for (std::uint32_t copy = 0; copy < inCount; ++copy) {
            WriteAll(PathOf(copy), copy == 0 ? inVideo : DamageAnywhere(random, inVideo, 160).bytes);
        }
    }

    // Every frame, predicted from those of inReferences.
    Decoded Decode(std::uint32_t inCopy, const std::vector<Picture420>& inReferences) const {
        Vexmora_Handle handle = nullptr;
        const Pavlin::utility::Guid identity{.bytes = {static_cast<std::uint8_t>(inCopy + 1)}};
        EXPECT_EQ(Vexmora_OpenFileWithIndex(ToUtf16(PathOf(inCopy)),
                                            VexmoraHost::Services(VexmoraHost::CacheIdFor(identity)),
                                            mIndex.header, mIndex.records, &handle),
                  Vexmora_Ok);
        std::vector<Picture420> references = inReferences;
        Decoded decoded;
        for (std::size_t i = 0; i < mIndex.records.size(); ++i) {
            const auto frame = static_cast<std::int32_t>(i);
            std::int32_t past = 0;
            std::int32_t future = 0;
            EXPECT_EQ(Vexmora_GetFrameDependancies(handle, frame, &past, &future), Vexmora_Ok);
            const auto planesOf = [&](std::int32_t in) {
                const bool isThere = in != DecodeChain::kNone && !references.empty();
                return isThere ? references.at(static_cast<std::size_t>(in)).Planes() : FramePlanes{};
            };
            decoded.frames.push_back(NewPicture(handle));
            const FramePlanes forward = planesOf(past);
            const FramePlanes backward = planesOf(future);
            const FramePlanes output = decoded.frames.back().Planes();
            decoded.statuses.push_back(Vexmora_GetFrame(handle, frame, &forward, &backward, &output, 0, 0));
        }
        Vexmora_CloseFile(handle);
        return decoded;
    }

  private:
    static Picture420 NewPicture(Vexmora_Handle inHandle) {
        std::uint32_t luma = 0;
        std::uint32_t chroma = 0;
        EXPECT_EQ(Vexmora_GetFrameSizes(inHandle, &luma, &chroma), Vexmora_Ok);
        return {luma, chroma};
    }
    std::filesystem::path PathOf(std::uint32_t inCopy) const { return mFolder / std::to_string(inCopy); }

    const VexmoraHost::TemporaryFolder mFolder;
    const IndexResult mIndex;
};

// With no references at all P pictures are predicted from their own output, B pictures not at all.
TEST(Concurrency, HandlesOnSeveralThreadsGiveThePicturesOfOneProcessor) {
    constexpr std::uint32_t kCopies = 40;
    constexpr std::uint32_t kThreads = 3;
    const DamagedCopies copies(MakeSmallStream(4, false), kCopies);
    std::vector<Decoded> expected;
    std::vector<Picture420> references;
    {
        const OneProcessor one;
        const VexmoraHost::Library library;
        references = copies.Decode(0, {}).frames;
        for (std::uint32_t copy = 0; copy < kCopies; ++copy) {
            expected.push_back(copies.Decode(copy, copy % 4 == 3 ? decltype(references){} : references));
        }
    }
    const auto damaged = std::count_if(expected.begin(), expected.end(), [&](const Decoded& in) {
        return in.frames != expected.front().frames;
    });
    EXPECT_GT(damaged, kCopies / 2);

    VexmoraHost::ProcessBlockCache().Clear();
    const VexmoraHost::Library library;
    std::array<std::uint32_t, kThreads> differences{};
    std::vector<std::thread> threads;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
        threads.emplace_back([&, number] {
            for (std::uint32_t i = 0; i < kCopies; ++i) {
                const std::uint32_t copy = (i + number * kCopies / kThreads / 2) % kCopies;
                const Decoded decoded =
                    copies.Decode(copy, copy % 4 == 3 ? decltype(references){} : references);
                if (decoded != expected[copy]) ++differences[number];
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(differences, (std::array<std::uint32_t, kThreads>{}));
}

}  // namespace
}  // namespace Vexmora::Test
