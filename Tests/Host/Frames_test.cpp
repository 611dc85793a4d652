// Frames of movies of real encoders' streams: damage is told, and told to those who are predicted from it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>

#include "Host/HostTestSupport.h"
#include "PlainDecode.h"
#include "VexmoraHost/Movie.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;
const fs::path kStreamFolder = VEXMORA_STREAM_DIR;

// Leaves the caches of the process as they were, and empty.
class Frames : public testing::Test {
  protected:
    ~Frames() override {
        ClearCaches();
        ProcessFrameCache().SetBudget(kDefaultFrameCacheBytes);
    }
    static void ClearCaches() {
        ProcessFrameCache().Clear();
        ProcessBlockCache().Clear();
    }
    Movie Open(const fs::path& inPath, std::size_t inFrameCacheBytes = kDefaultFrameCacheBytes) const {
        return Movie::Open(inPath, {.indexDir = mFolder / "store", .frameCacheBytes = inFrameCacheBytes});
    }

    TemporaryFolder mFolder;
};

TEST_F(Frames, OfIntactStreamsAreUndamaged) {
    int streams = 0;
    for (const auto& entry : fs::directory_iterator(kStreamFolder)) {
        const std::string extension = entry.path().extension().native();
        if (extension == ".facts" || extension == ".pictures" || !entry.is_regular_file()) continue;
        if (entry.path().filename().native().starts_with("refused")) continue;
        SCOPED_TRACE(entry.path());
        ++streams;
        Movie movie = Open(entry.path());
        for (const Scale scale : kScales) {
            if (scale == Scale::HalfWidth && movie.Info().file.width > 400) continue;  // takes long
            for (std::uint32_t frame = 0; frame < movie.Info().frameCount; ++frame) {
                const PictureDamage damage = movie.Frame(frame, scale)->damage;
                EXPECT_TRUE(damage.None()) << frame << ": " << damage.macroblocks << " " << damage.inherited;
            }
        }
        ProcessFrameCache().Clear();
    }
    EXPECT_GT(streams, 20);
}

TEST_F(Frames, SharePicturesAndOutliveTheirMovie) {
    ClearCaches();
    const std::size_t before = ProcessMemory().LiveBlocks();
    SharedPicture held;
    {
        Movie first = Open(kStreamFolder / "b2-open-352x288.m2v");
        Movie second = Open(kStreamFolder / "b2-open-352x288.m2v");
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

// Whether a record is inOther or predicted from it.
bool Needs(const std::vector<Vexmora::FrameRecord>& inRecords, std::int64_t inRecord, std::int64_t inOther) {
    if (inRecord == inOther) return true;
    const Vexmora::FrameRecord& record = inRecords[static_cast<std::size_t>(inRecord)];
    return (record.pastRefDelta != 0 && Needs(inRecords, inRecord + record.pastRefDelta, inOther)) ||
           (record.futureRefDelta != 0 && Needs(inRecords, inRecord + record.futureRefDelta, inOther));
}

// Macroblocks of a full-size picture that have one colour throughout.
std::uint32_t CountFlat(const Picture& inPicture, std::array<std::uint8_t, 3> inColour) {
    const std::array planes{inPicture.luma, inPicture.cb, inPicture.cr};
    std::uint32_t count = 0;
    for (std::uint32_t number = 0; number < inPicture.macroblocks; ++number) {
        const std::uint32_t columns = inPicture.luma.width / 16;
        bool isFlat = true;
        for (std::size_t i = 0; i < planes.size(); ++i) {
            const std::uint32_t size = i == 0 ? 16 : 8;
            for (std::uint32_t line = 0; line < size; ++line) {
                const std::uint8_t* const samples = planes[i].samples +
                                                    (number / columns * size + line) * planes[i].stride +
                                                    number % columns * size;
                isFlat = isFlat && std::count(samples, samples + size, inColour[i]) == size;
            }
        }
        count += isFlat ? 1u : 0u;
    }
    return count;
}

TEST_F(Frames, TellDamageAndWhatItReaches) {
    const fs::path media = kStreamFolder / "b2-open-352x288.m2v";
    Movie intact = Open(media);
    const auto records = intact.Records();
    std::set<unsigned> types;
    for (const std::int64_t broken : {24, 36, 39, 40, 60, 63, 96}) {
        SCOPED_TRACE(broken);
        const Vexmora::FrameRecord& record = records[static_cast<std::size_t>(broken)];
        types.insert(PictureCodingType(record));
        const fs::path copy = mFolder / std::to_string(broken);
        fs::copy_file(media, copy);
        Tamper(copy, [&](std::string& ioBytes) {
            std::minstd_rand random(1);
            for (std::size_t at = record.offset + record.size / 3; at < record.offset + record.size - 8;
                 ++at) {
                const auto bits = static_cast<unsigned char>(ioBytes[at]) ^ 1u << random() % 8;
                if (random() % 4 == 0 && bits > 1) ioBytes[at] = static_cast<char>(bits);  // no start codes
            }
        });
        Movie movie = Open(copy);
        ASSERT_EQ(movie.Records(), records);
        const SharedPicture damaged = movie.Frame(static_cast<std::uint32_t>(broken));
        const std::uint32_t failures = damaged->damage.macroblocks;
        EXPECT_GT(failures, 0u);
        EXPECT_LT(failures, 22u * 18);
        if (PictureCodingType(record) == Vexmora::kPictureTypeI) {
            EXPECT_EQ(CountFlat(*damaged, {81, 90, 239}) + CountFlat(*damaged, {128, 128, 128}), failures);
        }
        for (std::uint32_t frame = 0; frame < movie.Info().frameCount; ++frame) {
            const SharedPicture picture = movie.Frame(frame);
            if (frame == broken) continue;
            EXPECT_EQ(picture->damage.macroblocks, 0u) << frame;
            EXPECT_EQ(picture->damage.inherited, Needs(records, frame, broken) ? failures : 0u) << frame;
            if (picture->damage.None()) {
                ASSERT_TRUE(SamplesOf(*picture) == SamplesOf(*intact.Frame(frame))) << frame;
            }
        }
    }
    EXPECT_EQ(types.size(), 3u);
}

}  // namespace
}  // namespace VexmoraHost
