// What the pictures of each stream have in common, and what is drawn for each of them.
#include "Syntax/RandomStream.h"

#include <array>
#include <cstring>

#include "Support/Options.h"

namespace Vexmora::Test {
namespace {

using Structure = StreamPlan::Structure;
constexpr Structure kTop = Structure::TopFirst;
constexpr Structure kBottom = Structure::BottomFirst;
constexpr unsigned kLargestFCode = 9;
// Frames with B pictures, enough for each f_code of each direction; and frames without.
constexpr const char* kWithB = "IPBBPBBPBBPBBJPBBPBBPBBPBBPBB";
constexpr const char* kFewWithB = "IPBBJPBBPBB";
constexpr const char* kWithoutB = "IPPPPJPPPP";
constexpr const char* kFieldsWithoutB = "JPPPPIPPPP";

class StreamMaker {
  public:
    StreamMaker(const StreamPlan& inPlan, std::uint32_t inSeed, Features& ioFeatures)
        : mPlan(inPlan), mRandom(inSeed), mFeatures(ioFeatures) {
        mStream.sequence.width = inPlan.width;
        mStream.sequence.height = inPlan.height;
    }

    RandomStream Make() {
        WriteHeaders();
        unsigned shown = 0;
        for (const char* type = mPlan.types; *type != 0; ++type) {
            const auto bPictures = *type == 'B' ? 0 : static_cast<unsigned>(std::strspn(type + 1, "B"));
            AddFrame(*type, shown + bPictures);
            if (*type == 'B') {
                ++shown;
                if (type[1] != 'B') ++shown;  // the reference, which was coded before
            } else if (bPictures == 0) {
                ++shown;
            }
        }
        return std::move(mStream);
    }

  private:
    // The matrices take the place of the two flags at the end.
    void WriteHeaders() {
        LoadWeights(mWeights, mPlan.loadsIntra, mPlan.loadsNonIntra);
        const Bytes plain = SequenceHeader(mStream.sequence);
        BitWriter header;
        for (std::size_t i = 0; i + 1 < plain.size(); ++i) header.Put(8, plain[i]);
        header.Put(6, plain.back() >> 2);
        PutWeights(header, mWeights.intra);
        PutWeights(header, mWeights.nonIntra);
        CountWeights("sequence header", mWeights);
        mStream.headers = Join({header.Take(), SequenceExtension(mStream.sequence)});
    }

    void AddFrame(char inType, unsigned inTemporalReference) {
        const bool isIntra = inType == 'I' || inType == 'J';
        PictureSyntax picture;
        picture.temporal_reference = inTemporalReference;
        picture.picture_coding_type = isIntra ? kPictureTypeI : inType == 'P' ? kPictureTypeP : kPictureTypeB;
        picture.mayBeDualPrime = mPlan.hasDualPrime;
        picture.saturates = mPlan.saturates;
        picture.skipsFar = mPlan.isSparse;
        if (mPlan.structure == Structure::Frames) return AddPicture(picture);
        picture.picture_structure = mPlan.structure == Structure::TopFirst ? 1 : 2;
        AddPicture(picture);
        picture.picture_structure = 3 - picture.picture_structure;
        picture.isSecondField = true;
        picture.hasPastFrame = mStream.pictures.size() > 1 || inType != 'J';
        if (inType == 'J') picture.picture_coding_type = kPictureTypeP;
        mFeatures.Count("field pair", inType, picture.picture_structure == 2 ? "top first" : "bottom first");
        AddPicture(picture);
    }

    void AddPicture(PictureSyntax inPicture) {
        PictureSyntax& picture = inPicture;
        picture.intra_dc_precision = static_cast<unsigned>(mRandom.Between(0, 3));
        const unsigned count = mCountOfType[picture.picture_coding_type]++;
        const bool isIntra = picture.picture_coding_type == kPictureTypeI;
        picture.concealment_motion_vectors = isIntra ? count % 2 != 0 : mRandom.OneIn(2);
        picture.q_scale_type = mRandom.OneIn(2);
        picture.intra_vlc_format = mRandom.OneIn(2);
        picture.alternate_scan = mRandom.OneIn(2);
        picture.hasSeveralSlicesInRow = mRandom.OneIn(2);
        if (picture.picture_structure == 3) {
            picture.top_field_first = mStream.pictures.size() % 2 != 0;
            picture.frame_pred_frame_dct = mRandom.OneIn(5);
            picture.progressive_frame = picture.frame_pred_frame_dct && mRandom.OneIn(2);
        }
        ChooseFCodes(picture, count);
        const bool loads = mPlan.loadsIntra || mPlan.loadsNonIntra;
        LoadWeights(picture.loaded, loads && mRandom.OneIn(3), loads && mRandom.OneIn(3));
        if (picture.loaded.intra) mWeights.intra = picture.loaded.intra;
        if (picture.loaded.nonIntra) mWeights.nonIntra = picture.loaded.nonIntra;
        CountWeights("extension", picture.loaded);
        mFeatures.Count("scan", picture.alternate_scan, "B.15", picture.intra_vlc_format);
        mFeatures.Count("frame_pred_frame_dct", picture.frame_pred_frame_dct);
        mStream.pictures.push_back(
            {picture, WriteRandomPicture(mStream.sequence, picture, mWeights, mRandom, mFeatures)});
    }

    // One after the other, different ones for all components; inCount pictures of the type were before.
    static void ChooseFCodes(PictureSyntax& ioPicture, unsigned inCount) {
        const unsigned type = ioPicture.picture_coding_type;
        for (unsigned direction : {0u, 1u}) {
            const bool isUsed = direction == 0 ? type != kPictureTypeI || ioPicture.concealment_motion_vectors
                                               : type == kPictureTypeB;
            if (!isUsed) continue;
            for (unsigned component : {0u, 1u}) {
                ioPicture.f_code[direction][component] =
                    1 + (inCount + direction * 4 + component * 2) % kLargestFCode;
            }
        }
    }

    // A picture may load what the sequence header has not: in 4:2:0 a matrix of luma is that of chroma, too
    // (ISO/IEC 13818-2, 6.3.11).
    void LoadWeights(WeightsInUse& outWeights, bool inIntra, bool inNonIntra) {
        if (inIntra) {
            outWeights.intra = RandomWeights(255);
            (*outWeights.intra)[0] = 8;
        }
        // With a larger weight even a level of 1 might leave the range.
        if (inNonIntra) outWeights.nonIntra = RandomWeights(190);
    }

    Weights RandomWeights(int inLargest) {
        Weights weights;
        const int largest = mRandom.OneIn(2) ? 8 : inLargest;
        for (std::uint8_t& weight : weights) weight = static_cast<std::uint8_t>(mRandom.Between(1, largest));
        return weights;
    }

    void CountWeights(const char* inPlace, const WeightsInUse& inWeights) {
        if (inWeights.intra) mFeatures.Count("intra matrix", inPlace);
        if (inWeights.nonIntra) mFeatures.Count("non-intra matrix", inPlace);
    }

    const StreamPlan& mPlan;
    Random mRandom;
    Features& mFeatures;
    RandomStream mStream;
    WeightsInUse mWeights;
    std::array<unsigned, 4> mCountOfType{};
};

}  // namespace

// Wide ones for escapes and for vectors that wrap horizontally; tall ones for vectors that wrap vertically
// and for rows beyond the 175th.
const std::vector<StreamPlan> kStreamPlans{
    {.name = "Frames", .types = kWithB, .loadsIntra = true},
    {.name = "FramesDualPrime", .types = kWithoutB, .hasDualPrime = true, .loadsNonIntra = true},
    {.name = "FramesWide", .width = 4080, .height = 32, .types = kWithB, .isSparse = true},
    {.name = "FramesTall",
     .width = 48,
     .height = 4064,
     .types = kWithB,
     .loadsIntra = true,
     .loadsNonIntra = true},
    {.name = "FramesSaturated", .types = kWithB, .saturates = true},
    {.name = "Fields", .types = kWithB, .structure = kTop, .loadsIntra = true},
    {.name = "FieldsBottomFirst", .types = kWithB, .structure = kBottom, .loadsNonIntra = true},
    {.name = "FieldsDualPrime", .types = kFieldsWithoutB, .structure = kTop, .hasDualPrime = true},
    {.name = "FieldsDualPrimeBottomFirst",
     .types = kFieldsWithoutB,
     .structure = kBottom,
     .hasDualPrime = true},
    {.name = "FieldsWide",
     .width = 4080,
     .height = 64,
     .types = kFewWithB,
     .structure = kTop,
     .isSparse = true},
    {.name = "FieldsTall", .width = 48, .height = 4064, .types = kFewWithB, .structure = kBottom},
};

Bytes RandomStream::All() const {
    Bytes all = headers;
    for (const Picture& picture : pictures) all.insert(all.end(), picture.bytes.begin(), picture.bytes.end());
    return Join({all, SequenceEnd()});
}

RandomStream MakeRandomStream(const StreamPlan& inPlan, std::uint32_t inSeed, Features& ioFeatures) {
    return StreamMaker(inPlan, inSeed, ioFeatures).Make();
}

std::uint32_t SyntaxSeed() {
    return Option("VEXMORA_SEED", 1);
}

}  // namespace Vexmora::Test
