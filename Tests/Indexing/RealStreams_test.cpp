// The index of every stream made by real encoders, against ffprobe and a plain walk over the stream's bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "Support/Options.h"
#include "Support/StreamBuilder.h"
#include "Support/TestFiles.h"

namespace Vexmora::Test {
namespace {

/// A frame in display order, as ffprobe shows it.
struct ProbedFrame {
    char type;
    bool interlaced;
    bool topFieldFirst;
    int repeatPict;
};

struct RealStream {
    std::string name;
    Bytes bytes;
    std::vector<ProbedFrame> frames;
    std::map<std::string, std::string> facts;
};

RealStream Load(const std::filesystem::path& inPath) {
    RealStream stream{inPath.filename().string(), ReadAll(inPath), {}, {}};
    std::ifstream pictures(inPath.string() + ".pictures");
    for (std::string line; std::getline(pictures, line);) {  // such as B,1,0,0
        stream.frames.push_back({line.at(0), line.at(2) == '1', line.at(4) == '1', line.at(6) - '0'});
    }
    std::ifstream facts(inPath.string() + ".facts");
    for (std::string line; std::getline(facts, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) stream.facts[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return stream;
}

const std::vector<RealStream>& Streams() {
    static const std::vector<RealStream> streams = [] {
        std::vector<RealStream> all;
        for (const auto& path : StreamFiles(VEXMORA_STREAM_DIR)) {
            if (std::filesystem::exists(path.string() + ".pictures")) all.push_back(Load(path));
        }
        return all;
    }();
    return streams;
}

bool StartsWithCode(const Bytes& inBytes, std::size_t inAt, unsigned inCode) {
    return inAt + 4 <= inBytes.size() && inBytes[inAt] == 0 && inBytes[inAt + 1] == 0 &&
           inBytes[inAt + 2] == 1 && inBytes[inAt + 3] == inCode;
}

// B pictures at the very start of a stream that begins with an open GOP refer to an anchor that is not there:
// both their references are the first I picture. A decoder cannot show them.
std::size_t LeadingUndecodable(const IndexResult& inIndex) {
    std::size_t count = 0;
    while (count < inIndex.records.size() && PictureCodingType(inIndex.records[count]) == kPictureTypeB &&
           inIndex.records[count].pastRefDelta == inIndex.records[count].futureRefDelta) {
        ++count;
    }
    return count;
}

// A start code is handled when 33 bytes of the video follow its first one: those of a picture coding
// extension at the very end may be too few, and the last picture then has no flags.
bool HasNoFlags(const FrameRecord& inRecord, const IndexHeader& inHeader) {
    constexpr std::uint32_t kMostBytes = 188;
    return inRecord.offset + inRecord.size == inHeader.streamLength && inRecord.size <= kMostBytes &&
           (inRecord.flags & (kProgressiveFrameBit | kTopFieldFirstBit | kRepeatFirstFieldBit)) == 0;
}

TEST(RealStreams, PicturesAreThoseOfFfprobeInDisplayOrder) {
    ASSERT_GE(Streams().size(), 25U);
    std::size_t repeats = 0, interlaced = 0;
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const IndexResult index = Index(stream.bytes);
        ASSERT_EQ(index.done, Vexmora_Ok);
        const std::size_t leading = LeadingUndecodable(index);
        EXPECT_EQ(leading, stream.name.starts_with("started-open") ? 2U : 0U);
        ASSERT_EQ(index.records.size(), stream.frames.size() + leading);
        ASSERT_GE(stream.frames.size(), 10U);
        const bool progressive = (index.header.formatWord & kFieldOrderMask) == kFieldOrderProgressive;
        for (std::size_t number = 0; number < stream.frames.size(); ++number) {
            SCOPED_TRACE(number);
            const FrameRecord& record = index.records[leading + number];
            const ProbedFrame& frame = stream.frames[number];
            ASSERT_EQ(" IPB"[PictureCodingType(record)], frame.type);
            const bool top = (record.flags & kTopFieldFirstBit) != 0;
            const bool repeat = (record.flags & kRepeatFirstFieldBit) != 0;
            if (HasNoFlags(record, index.header)) continue;
            ASSERT_EQ((record.flags & kProgressiveFrameBit) == 0, frame.interlaced);
            ASSERT_EQ(top, frame.topFieldFirst);
            // In half frame periods more: a field, or in a progressive sequence one or two whole frames.
            ASSERT_EQ(!repeat ? 0 : !progressive ? 1 : top ? 4 : 2, frame.repeatPict);
            repeats += repeat;
            interlaced += frame.interlaced;
        }
        EXPECT_EQ(index.header.firstFrame, index.header.streamKind == kStreamKindTransport ? leading : 0U);
        EXPECT_EQ(index.header.lastFrame, index.records.size() - 1);
    }
    EXPECT_GT(repeats, 30U);
    EXPECT_GT(interlaced, 200U);
}

// How many bytes the packet at inAt of the video has; 0 when there is none.
std::size_t PacketSize(const RealStream& inStream, std::uint32_t inKind, std::size_t inAt) {
    const Bytes& bytes = inStream.bytes;
    if (inKind == kStreamKindElementary) return 1;
    if (inKind == kStreamKindTransport) return inAt % 188 == 0 && bytes[inAt] == 0x47 ? 188 : 0;
    return StartsWithCode(bytes, inAt, 0xE0) ? 6 + (std::size_t{bytes[inAt + 4]} << 8 | bytes[inAt + 5]) : 0;
}

TEST(RealStreams, RecordsAccountForEveryByteFromTheFirstPictureOn) {
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const IndexResult index = Index(stream.bytes);
        std::uint32_t largest = 0;
        std::size_t end = 0;  // of the picture before
        for (const Extent& extent : RecordedExtents(index)) {
            const auto at = static_cast<std::size_t>(extent.offset);
            const std::size_t size = PacketSize(stream, index.header.streamKind, at);
            if (end != 0) {
                // It ends where the start code of the next one begins, in the packet that this one names.
                ASSERT_TRUE(at <= end && end < at + size) << at;
                ASSERT_TRUE(end + 4 > at + std::max<std::size_t>(size, 4)
                                ? stream.bytes[end] == 0
                                : StartsWithCode(stream.bytes, end, 0));
            }
            end = at + static_cast<std::size_t>(extent.size);
            largest = std::max(largest, static_cast<std::uint32_t>(extent.size));
        }
        EXPECT_EQ(end, stream.bytes.size());
        EXPECT_EQ(index.header.maxPictureSize, largest);
        EXPECT_EQ(index.header.streamLength, stream.bytes.size());
    }
}

TEST(RealStreams, HeadersAgreeWithFfprobe) {
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const IndexHeader header = Index(stream.bytes).header;
        const auto fact = [&](const char* inKey) { return stream.facts.at(inKey); };
        const auto ratio = [&](const char* inKey) {
            const std::string text = fact(inKey);
            return std::pair(std::stod(text), std::stod(text.substr(text.find_first_of(":/") + 1)));
        };
        EXPECT_EQ(std::to_string(header.width), fact("width"));
        EXPECT_EQ(std::to_string(header.height), fact("height"));

        const auto [sampleWidth, sampleHeight] = ratio("sample_aspect_ratio");
        const double displayed[] = {0, 1.0 * header.width / header.height, 4.0 / 3, 16.0 / 9, 2.21};
        ASSERT_LT(header.aspectRatioCode, std::size(displayed));
        EXPECT_NEAR(displayed[header.aspectRatioCode],
                    header.width * sampleWidth / (header.height * sampleHeight), 0.005);

        const bool pulldown = stream.name.starts_with("pulldown") || stream.name == "mplex-generic.mpg";
        const auto [frames, seconds] = ratio("r_frame_rate");
        EXPECT_EQ(header.effectiveFrameRate,
                  pulldown ? 23976U : static_cast<std::uint32_t>(1000 * frames / seconds));

        const std::map<std::string, std::uint32_t> orders = {{"progressive", kFieldOrderProgressive},
                                                             {"tt", kFieldOrderTopFirst},
                                                             {"bb", kFieldOrderBottomFirst}};
        if (!pulldown) {
            EXPECT_EQ(header.formatWord & kFieldOrderMask, orders.at(fact("field_order")));
        }
        EXPECT_EQ(header.formatWord >> 15 & 3, 3U);
    }
}

TEST(RealStreams, AnyBuffersGiveTheSameIndex) {
    const std::uint64_t seed = Option("VEXMORA_SEED", 1);
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const std::size_t size = stream.bytes.size();
        const IndexResult whole = Index(stream.bytes);
        for (const std::size_t piece : {std::size_t{1} << 24, std::size_t{4096}, std::size_t{33}}) {
            EXPECT_TRUE(Index(stream.bytes, FixedCuts(size, piece)) == whole) << "pieces of " << piece;
        }
        EXPECT_TRUE(Index(stream.bytes, RandomCuts(size, 33, 5000, seed)) == whole);
        EXPECT_TRUE(Index(stream.bytes, RandomCuts(size, 33, 200, seed)) == whole);
    }
}

}  // namespace
}  // namespace Vexmora::Test
