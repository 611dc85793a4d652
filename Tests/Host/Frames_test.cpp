// Frames of movies of real encoders' streams tell no damage where there is none, and all that a damaged
// picture reaches.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "Host/HostTestSupport.h"
#include "PlainDecode.h"
#include "VexmoraHost/Movie.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;
const fs::path kStreamFolder = VEXMORA_STREAM_DIR;

TEST(Frames, OfIntactStreamsAreUndamaged) {
    const TemporaryFolder folder;
    int streams = 0;
    for (const auto& entry : fs::directory_iterator(kStreamFolder)) {
        const std::string extension = entry.path().extension().native();
        if (extension == ".facts" || extension == ".pictures" || !entry.is_regular_file()) continue;
        if (entry.path().filename().native().starts_with("refused")) continue;
        SCOPED_TRACE(entry.path());
        ++streams;
        Movie movie = Movie::Open(entry.path(), {.indexDir = folder.Path()});
        for (const Scale scale : kScales) {
            if (scale == Scale::HalfWidth && movie.Info().file.width > 400) continue;  // takes long
            FrameRun run = movie.Run(0, movie.Info().frameCount, scale);
            while (const SharedPicture picture = run.Next()) {
                EXPECT_TRUE(picture->damage.None()) << picture->frame;
            }
        }
    }
    EXPECT_GT(streams, 20);
}

// Whether a record is inOther or predicted from it.
bool Needs(const std::vector<Vexmora::FrameRecord>& inRecords, std::int64_t inRecord, std::int64_t inOther) {
    if (inRecord == inOther) return true;
    const Vexmora::FrameRecord& record = inRecords[static_cast<std::size_t>(inRecord)];
    return (record.pastRefDelta != 0 && Needs(inRecords, inRecord + record.pastRefDelta, inOther)) ||
           (record.futureRefDelta != 0 && Needs(inRecords, inRecord + record.futureRefDelta, inOther));
}

TEST(Frames, TellDamageAndWhatItReaches) {
    const TemporaryFolder folder;
    const OpenOptions options{.indexDir = folder / "store"};
    const fs::path media = kStreamFolder / "b2-open-352x288.m2v";
    Movie intact = Movie::Open(media, options);
    const auto& records = intact.Records();
    std::set<unsigned> types;
    for (const std::uint32_t broken : {24u, 36u, 39u, 40u, 60u, 63u, 96u}) {
        SCOPED_TRACE(broken);
        const Vexmora::FrameRecord& record = records[broken];
        types.insert(PictureCodingType(record));
        std::string bytes = ReadFile(media);
        std::minstd_rand random(1);
        for (std::size_t at = record.offset + record.size / 3; at < record.offset + record.size - 8; ++at) {
            const auto bits = static_cast<unsigned char>(bytes[at]) ^ 1u << random() % 8;
            if (random() % 4 == 0 && bits > 1) bytes[at] = static_cast<char>(bits);  // no start codes
        }
        Movie movie = Movie::Open(WriteFile(folder / std::to_string(broken), bytes), options);
        const std::uint32_t failures = movie.Frame(broken)->damage.macroblocks;
        EXPECT_GT(failures, 0u);
        EXPECT_LT(failures, 22u * 18);
        for (std::uint32_t frame = 0; frame < records.size(); ++frame) {
            if (frame == broken) continue;
            const SharedPicture picture = movie.Frame(frame);
            EXPECT_EQ(picture->damage.macroblocks, 0u) << frame;
            EXPECT_EQ(picture->damage.inherited, Needs(records, frame, broken) ? failures : 0u) << frame;
            ASSERT_TRUE(!picture->damage.None() || SamplesOf(*picture) == SamplesOf(*intact.Frame(frame)));
        }
    }
    EXPECT_EQ(types.size(), 3u);
}

}  // namespace
}  // namespace VexmoraHost
