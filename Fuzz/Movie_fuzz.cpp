// Files of arbitrary bytes as movies of the reference host: they are refused with an error, or their frames
// are the same in any order of access, on any number of threads, with and without caches, at the scale of the
// input's choice.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "GuardedPicture.h"
#include "Support/TestFiles.h"
#include "Support/TestHost.h"
#include "VexmoraHost/Movie.h"

namespace Vexmora::Test {
namespace {

using VexmoraHost::Movie;
using VexmoraHost::Scale;
using VexmoraHost::SharedPicture;

constexpr std::uint32_t kMostFrames = 12;

struct Shown {
    bool isThere = false;
    std::uint32_t frame = 0;
    Vexmora_Status status = Vexmora_Ok;
    std::uint32_t macroblocks = 0;
    std::size_t samples = 0;
    friend bool operator==(const Shown&, const Shown&) = default;
};

Shown Look(const SharedPicture& inPicture) {
    Shown shown{true, inPicture->frame, inPicture->damage.status, inPicture->damage.macroblocks, 0};
    for (const VexmoraHost::Plane& plane : {inPicture->luma, inPicture->cb, inPicture->cr}) {
        EXPECT_LE(plane.width, plane.stride);
        for (std::size_t line = 0; line < plane.height; ++line) {
            const auto* const row = reinterpret_cast<const char*>(plane.samples + line * plane.stride);
            shown.samples = shown.samples * 31 + std::hash<std::string_view>()({row, plane.width});
        }
    }
    return shown;
}

Shown Show(Movie& ioMovie, std::uint32_t inFrame, Scale inScale) {
    try {
        return Look(ioMovie.Frame(inFrame, inScale));
    } catch (const VexmoraHost::Error& error) {
        EXPECT_EQ(error.Status(), Vexmora_NoSuchFrame);
        return {};
    }
}

void ExpectRun(Movie& ioMovie, Scale inScale, unsigned inThreads, const std::vector<Shown>& inExpected) {
    VexmoraHost::DropFrames();
    auto run = ioMovie.Run(0, static_cast<std::uint32_t>(inExpected.size()), inScale, inThreads);
    for (const Shown& expected : inExpected) {
        try {
            EXPECT_TRUE(Look(run.Next()) == expected);
        } catch (const VexmoraHost::Error&) {
            EXPECT_FALSE(expected.isThere);
        }
    }
    EXPECT_EQ(run.Next(), nullptr);
}

void ExpectSameFrames(Movie& ioMovie, Scale inScale, unsigned inThreads) {
    const VexmoraHost::MovieInfo& info = ioMovie.Info();
    EXPECT_LE(std::size_t{info.firstFrame} + info.frameCount, ioMovie.Records().size());
    if (GuardedPicture::IsTooLarge(info.file.pitch * info.file.height)) return;
    const std::uint32_t count = std::min(info.frameCount, kMostFrames);
    std::vector<Shown> forward;
    for (std::uint32_t frame = 0; frame < count; ++frame) forward.push_back(Show(ioMovie, frame, inScale));
    for (std::uint32_t frame = count; frame-- > 0;) {
        if (frame % 2 == 0) VexmoraHost::DropFrames();
        EXPECT_TRUE(Show(ioMovie, frame, inScale) == forward[frame]) << frame;
    }
    ExpectRun(ioMovie, inScale, inThreads, forward);
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    static const TemporaryFolder folder;
    const auto scale = static_cast<Scale>(ioChoices.Below(3));
    const auto threads = static_cast<unsigned>(1 + ioChoices.Below(4));
    const std::filesystem::path media = folder / "media";
    WriteAll(media, ioChoices.Rest());
    VexmoraHost::DropFrames();
    VexmoraHost::DropBlocks();
    try {
        Movie movie = Movie::Open(media, {.indexDir = folder / "index"});
        ExpectSameFrames(movie, scale, threads);
    } catch (const VexmoraHost::Error& error) {
        EXPECT_NE(error.Status(), Vexmora_Ok);
    }
}

}  // namespace Vexmora::Test
