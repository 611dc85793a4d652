// Streams with wrong bits: whatever they say, a frame gets a status, nothing outside the host's planes is
// touched (they have no byte to spare, which sanitizers watch), and what is sound is decoded as ever.
//
// VEXMORA_RUNS: how many damaged copies of small streams; VEXMORA_SEED: of the damage.
#include <gtest/gtest.h>

#include <set>

#include "Decoding/CodedVideo.h"
#include "Support/Options.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

const std::set<Vexmora_Status> kAllowed{Vexmora_Ok,          Vexmora_Unsupported,    Vexmora_NoSequenceHeader,
                                        Vexmora_NoSuchFrame, Vexmora_NoCodedPicture, Vexmora_EmptyRecord};

// A damaged sequence header may call for planes of any size: large ones take too long here.
bool IsSmall(const Picture420& inPicture) {
    return inPicture.luma.size() < 2'000'000;
}

// One video at one scale, with what is to come out of it.
struct Original {
    Original(const HostServices& inServices, const Bytes& inStream, Scale inScale)
        : video(CutIntoPictures(inStream)),
          scale(inScale),
          instance(std::make_unique<BufferInstance>(inServices, inScale)),
          frames(instance->DecodeAll(video)) {}

    CodedVideo video;
    Scale scale;
    std::unique_ptr<BufferInstance> instance;  // goes on through all damage
    std::vector<Picture420> frames;
};

class Damage : public testing::Test {
  protected:
    Damage() { Vexmora_Startup(); }
    ~Damage() override {
        Vexmora_Shutdown();
        EXPECT_EQ(mHost.LiveBlocks(), 0);
    }

    // Decodes a frame once more, from sound pictures; one that has nothing in common with the damaged one.
    void ExpectSoundFrame(Original& ioOriginal, std::size_t inFrame, const Bytes& inDamaged) {
        const unsigned temporal_reference = inDamaged.size() > 5 ? TemporalReference(inDamaged) : ~0u;
        const auto& units = ioOriginal.video.units;
        Picture420 picture = ioOriginal.instance->NewPicture();
        for (const CodedUnit& unit : units) {
            if (unit.frame != inFrame) continue;
            if (unit.temporal_reference == temporal_reference) return;
            EXPECT_EQ(ioOriginal.instance->Decode(unit, unit.bytes, ioOriginal.frames, picture), Vexmora_Ok);
        }
        EXPECT_EQ(picture, ioOriginal.frames[inFrame]) << inFrame;
    }

    // Damages every third picture or so, and predicts on from what comes out.
    void DecodeDamagedUnits(Original& ioOriginal) {
        std::vector<Picture420> frames = ioOriginal.frames;
        for (const CodedUnit& unit : ioOriginal.video.units) {
            Picture420& picture = frames[unit.frame];
            if (mRandom() % 3 != 0) {
                const Vexmora_Status status = ioOriginal.instance->Decode(unit, unit.bytes, frames, picture);
                EXPECT_EQ(status, Vexmora_Ok);
                continue;
            }
            const Bytes damaged = DamageAnywhere(mRandom, unit.bytes, 0);
            picture = ioOriginal.instance->NewPicture();
            EXPECT_TRUE(kAllowed.contains(ioOriginal.instance->Decode(unit, damaged, frames, picture)));
            ++mDamagedPictures;
            ioOriginal.instance->ReadHeaders(ioOriginal.video);  // may have become others
            ExpectSoundFrame(ioOriginal, (unit.frame + 1) % ioOriginal.frames.size(), damaged);
        }
    }

    // Pictures of whatever sequence it is now.
    void DecodeUnderDamagedHeaders(const Original& inOriginal) {
        CodedVideo video = inOriginal.video;
        video.headers = DamageAnywhere(mRandom, video.headers, 0);
        BufferInstance instance(mHost.Services(), inOriginal.scale);
        instance.ReadHeaders(video);
        if (!IsSmall(instance.NewPicture())) return;
        std::vector<Picture420> frames(video.frameCount, instance.NewPicture());
        for (const CodedUnit& unit : video.units) {
            EXPECT_TRUE(kAllowed.contains(instance.Decode(unit, unit.bytes, frames, frames[unit.frame])));
        }
    }

    std::mt19937 mRandom{Option("VEXMORA_SEED", 20)};
    const unsigned mRuns = Option("VEXMORA_RUNS", 300);
    TestHost mHost;
    unsigned mDamagedPictures = 0;
};

Bytes ReadStream(const char* inName) {
    return ReadAll(fs::path(VEXMORA_STREAM_DIR) / inName);
}

TEST_F(Damage, PicturesInBuffersHarmNoOthers) {
    std::vector<Original> originals;
    for (const Bytes& stream : {MakeSmallStream(1, false), MakeSmallStream(2, true),
                                ReadStream("tiny-odd-96x80.m2v"), ReadStream("tiny-64x48.m2v")}) {
        for (const Scale scale : kScales) originals.emplace_back(mHost.Services(), stream, scale);
    }
    for (unsigned run = 0; run < mRuns; ++run) {
        SCOPED_TRACE(run);
        Original& original = originals[run % originals.size()];
        if (mRandom() % 16 == 0) {
            DecodeUnderDamagedHeaders(original);
        } else {
            DecodeDamagedUnits(original);
        }
    }
    EXPECT_GT(mDamagedPictures, mRuns);
}

}  // namespace
}  // namespace Vexmora::Test
