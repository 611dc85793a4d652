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

struct OriginalFile {
    bool HoldsBareVideo() const { return index.header.streamKind == kStreamKindElementary; }

    Bytes stream;
    IndexResult index;
    Scale scale;
    std::vector<Picture420> frames;
};
// Of an elementary stream's sequence header and extensions, at most.
constexpr std::size_t kHeaderBytes = 160;

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
            const Bytes damaged = DamageAnywhere(mRandom, unit.bytes, 0).bytes;
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
        video.headers = DamageAnywhere(mRandom, video.headers, 0).bytes;
        BufferInstance instance(mHost.Services(), inOriginal.scale);
        instance.ReadHeaders(video);
        if (!IsSmall(instance.NewPicture())) return;
        std::vector<Picture420> frames(video.frameCount, instance.NewPicture());
        for (const CodedUnit& unit : video.units) {
            EXPECT_TRUE(kAllowed.contains(instance.Decode(unit, unit.bytes, frames, frames[unit.frame])));
        }
    }

    // All frames of the file as it is now. Those that are sound are predicted from sound ones and must come
    // out as those do. Behind the damage other matrices may rightly be in force.
    void DecodeFile(OriginalFile& ioFile, const Damaged& inDamaged, bool inSameSequence) {
        const bool inSameMatrices = !HasMatrixExtension(inDamaged.bytes);
        WriteAll(mMedia, inDamaged.bytes);
        Vexmora_Handle handle = nullptr;
        if (Vexmora_OpenFileWithIndex(ToUtf16(mMedia), mHost.Services(), ioFile.index.header,
                                      ioFile.index.records, &handle) != Vexmora_Ok) {
            return;
        }
        const Picture420 none = NewPicture(handle);
        std::vector<Picture420> frames(IsSmall(none) ? ioFile.index.records.size() : 0, none);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const FrameRecord& record = ioFile.index.records[i];
            const bool isSpared = inSameSequence && ioFile.HoldsBareVideo() &&
                                  (record.offset + record.size + 4 <= inDamaged.begin ||
                                   (record.offset >= inDamaged.end && inSameMatrices));
            std::vector<Picture420>& references = isSpared ? ioFile.frames : frames;
            const Vexmora_Status status = DecodeFrame(
                handle, static_cast<std::int32_t>(i), ioFile.scale,
                [&](std::int32_t in) { return references.at(static_cast<std::size_t>(in)).Planes(); },
                frames[i]);
            EXPECT_TRUE(kAllowed.contains(status)) << status;
            if (isSpared) {
                EXPECT_EQ(frames[i], ioFile.frames[i]) << i;
                ++mSparedPictures;
            }
        }
        Vexmora_CloseFile(handle);
    }

    OriginalFile MakeOriginalFile(const Bytes& inStream, Scale inScale) {
        OriginalFile file{inStream, Index(inStream), inScale, {}};
        WriteAll(mMedia, inStream);
        DecodeChain chain(mMedia, inScale);
        for (std::size_t i = 0; i < file.index.records.size(); ++i) {
            file.frames.push_back(chain.Frame(static_cast<std::int32_t>(i)).picture);
        }
        return file;
    }

    std::mt19937 mRandom{Option("VEXMORA_SEED", 20)};
    const unsigned mRuns = Option("VEXMORA_RUNS", 300);
    const TemporaryFolder mFolder;
    const fs::path mMedia = mFolder / "media";
    ExactHost mHost;
    unsigned mDamagedPictures = 0;
    unsigned mSparedPictures = 0;
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

TEST_F(Damage, FilesGiveStatusesAndTheFramesThatItSpared) {
    std::vector<OriginalFile> files;
    for (const Bytes& stream :
         {MakeSmallStream(1, false), ReadStream("tiny-odd-96x80.m2v"), ReadStream("tiny-64x48.m2v"),
          ReadStream("tiny-64x48.ts"), ReadStream("tiny-100x76.mpg")}) {
        for (const Scale scale : kScales) files.push_back(MakeOriginalFile(stream, scale));
    }
    for (unsigned run = 0; run < mRuns; ++run) {
        SCOPED_TRACE(run);
        OriginalFile& file = files[run % files.size()];
        const bool sparesHeaders = mRandom() % 8 != 0;
        const Damaged damaged = DamageAnywhere(mRandom, file.stream, sparesHeaders ? kHeaderBytes : 0);
        DecodeFile(file, damaged, sparesHeaders);
    }
    EXPECT_GT(mSparedPictures, mRuns);
}

}  // namespace
}  // namespace Vexmora::Test
