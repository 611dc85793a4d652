// The headers of elementary streams made by real encoders, picture by picture, against ffprobe.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "Mpeg2/CodedBytes.h"

namespace Vexmora::Test {
namespace {

/// Counts of "type,interlaced" over frames.
using FrameCounts = std::map<std::string, int>;

FrameCounts ProbedFrames(const std::filesystem::path& inStream) {
    FrameCounts counts;
    std::ifstream pictures(inStream.string() + ".pictures");
    for (std::string line; std::getline(pictures, line);) ++counts[line.substr(0, 3)];  // such as B,1,0,0
    return counts;
}

std::map<std::string, std::string> ProbedFacts(const std::filesystem::path& inStream) {
    std::map<std::string, std::string> probed;
    std::ifstream facts(inStream.string() + ".facts");
    for (std::string line; std::getline(facts, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) probed[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return probed;
}

/// Hands a stream over in pieces, as a reader of a file would, and parses whatever each piece of it holds.
class Walk {
  public:
    explicit Walk(const Bytes& inStream) {
        std::size_t fed = 0;
        for (bool complete = true; complete;) {
            mBuffer->SetSize(0);
            mBuffer->ResetScan();
            mBuffer->MoveCarryToFront();
            while (!(complete = mBuffer->ScanForPictureEnd()) && fed < inStream.size()) {
                const std::size_t count = std::min<std::size_t>(5000, inStream.size() - fed);
                mBuffer->Append({inStream.data() + fed, count});
                fed += count;
            }
            mBuffer->SwapWords();
            ParseUnit(complete);
        }
    }

    DecodingParameters parameters;
    FrameCounts frames;

  private:
    /// The rest of a picture up to the code that ends it, with the headers in front of the next one.
    void ParseUnit(bool inComplete) {
        if (mInPicture) {
            BitReader reader(*mBuffer);
            parameters.picture.temporalReference = reader.GetBits(10);
            parameters.picture.pictureCodingType = reader.GetBits(3);
            ASSERT_EQ(ParsePictureHeader(reader, parameters), Vexmora_Ok);
            ASSERT_EQ(reader.PeekStartCode(), 0x101u) << "the first slice";
            const bool secondField =
                parameters.picture.pictureStructure != kFramePicture && parameters.secondField;
            parameters.secondField = parameters.picture.pictureStructure != kFramePicture && !secondField;
            if (!secondField) {
                const char type = " IPBD"[parameters.picture.pictureCodingType];
                ++frames[std::string{type} + (parameters.picture.progressiveFrame != 0 ? ",0" : ",1")];
            }
        }
        BitReader reader(*mBuffer);
        std::int32_t code = 0;
        while ((code = reader.NextStartCode()) != BitReader::kNoStartCode) {
            mInPicture = code == 0x100;
            if (code == 0x1B3) {
                ASSERT_EQ(ParseSequenceHeader(reader, parameters), Vexmora_Ok);
            }
        }
        if (!inComplete) mInPicture = false;
    }

    ExactHost mHost;
    StartCodeTable mTable;
    const CountedRef<CodedPictureBuffer> mBuffer =
        CodedPictureBuffer::Create(4000000, mTable, mHost.Services());
    bool mInPicture = false;
};

TEST(RealHeaders, SayWhatFfprobeSays) {
    int streams = 0;
    for (const auto& entry : std::filesystem::directory_iterator(VEXMORA_STREAM_DIR)) {
        const std::filesystem::path& path = entry.path();
        if (path.extension() != ".m2v" || path.filename().string().starts_with("refused")) continue;
        SCOPED_TRACE(path.filename().string());
        ++streams;
        std::ifstream file(path, std::ios::binary);
        const Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        const Walk walk(bytes);
        auto facts = ProbedFacts(path);
        const Vexmora::SequenceHeader& sequence = walk.parameters.sequence;
        EXPECT_EQ(std::to_string(sequence.horizontalSize), facts["width"]);
        EXPECT_EQ(std::to_string(sequence.verticalSize), facts["height"]);
        double numerator = 0, denominator = 1;
        char slash = 0;
        std::istringstream(facts["r_frame_rate"]) >> numerator >> slash >> denominator;
        // ffprobe counts fields where some are repeated, and leaves out B pictures that lack a reference.
        const bool pulldown = path.filename().string().starts_with("pulldown");
        EXPECT_NEAR(sequence.framePeriod * numerator / denominator, pulldown ? 2 : 1, 1e-12);
        FrameCounts expected = ProbedFrames(path);
        if (path.filename() == "started-open.m2v") expected["B,0"] += 2;
        EXPECT_EQ(walk.frames, expected);
    }
    EXPECT_GE(streams, 10);
}

}  // namespace
}  // namespace Vexmora::Test
