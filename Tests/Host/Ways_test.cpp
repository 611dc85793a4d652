// A recording gives the same frames whether the library reads its file or the host takes it apart, in one
// file or in parts that are cut anywhere.
#include <gtest/gtest.h>

#include <string>

#include "Host/HostTestSupport.h"
#include "Host/PlainDecode.h"
#include "Support/Options.h"
#include "VexmoraHost/Movie.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

void ExpectSameFrames(Movie& ioExpected, Movie& ioMovie, Scale inScale) {
    const std::uint32_t count = ioExpected.Info().frameCount;
    ASSERT_EQ(ioMovie.Info().frameCount, count);
    FrameRun expected = ioExpected.Run(0, count, inScale);
    FrameRun run = ioMovie.Run(0, count, inScale, 2);
    for (std::uint32_t frame = 0; frame < count; ++frame) {
        const SharedPicture left = expected.Next();
        const SharedPicture right = run.Next();
        ASSERT_TRUE(SamplesOf(*left) == SamplesOf(*right)) << "frame " << frame;
        EXPECT_EQ(left->damage.macroblocks, right->damage.macroblocks) << frame;
        EXPECT_EQ(left->damage.standsIn, right->damage.standsIn) << frame;
    }
}

// In three parts of odd sizes.
std::vector<fs::path> Cut(const fs::path& inPath, const fs::path& inFolder) {
    const std::string bytes = ReadFile(inPath);
    std::vector<fs::path> parts;
    std::size_t begin = 0;
    for (const std::size_t end : {bytes.size() / 3 | 1, bytes.size() * 2 / 3 | 1, bytes.size()}) {
        const auto part = inFolder / ("part" + std::to_string(parts.size()));
        parts.push_back(WriteFile(part, bytes.substr(begin, end - begin)));
        begin = end;
    }
    return parts;
}

TEST(Ways, GiveTheSameFrames) {
    const TemporaryFolder folder;
    for (const fs::path& path : Vexmora::Test::StreamFiles(VEXMORA_STREAM_DIR)) {
        SCOPED_TRACE(path);
        OpenOptions options{.indexDir = folder.Path() / "index"};
        Movie plain = Movie::Open(path, options);
        const MovieDetails& details = plain.Details();
        ASSERT_EQ(details.records.size(), plain.Records().size());

        // The choice of the program that is shown anyway leads to the host's own way.
        options.choice.program = details.program;
        Movie chosen = Movie::Open(path, options);
        EXPECT_EQ(chosen.Info().firstFrame, plain.Info().firstFrame);
        EXPECT_EQ(chosen.Info().streamKind, plain.Info().streamKind);
        EXPECT_EQ(chosen.Info().file.width, plain.Info().file.width);
        EXPECT_EQ(chosen.Info().file.effectiveFrameRate, plain.Info().file.effectiveFrameRate);
        for (const Scale scale : {Scale::Full, Scale::HalfWidth, Scale::Quarter}) {
            if (!Vexmora::Test::kIsSanitized || scale == Scale::Quarter)
                ExpectSameFrames(plain, chosen, scale);
        }
        const auto parts = Cut(path, folder.Path());
        for (const bool isKnown : {false, true}) {
            Movie joined = Movie::Open(parts, options);
            EXPECT_EQ(joined.WasIndexed(), !isKnown);
            ExpectSameFrames(plain, joined, Scale::Quarter);
        }
    }
}

}  // namespace
}  // namespace VexmoraHost
