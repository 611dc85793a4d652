// The index of every stream made by real encoders, against ffprobe and a plain walk over the stream's bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <string>

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

const std::vector<RealStream>& Streams(bool inRefused = false) {
    static const auto load = [](bool inWanted) {
        std::vector<RealStream> streams;
        for (const auto& entry : std::filesystem::directory_iterator(VEXMORA_STREAM_DIR)) {
            const std::filesystem::path& path = entry.path();
            const std::string extension = path.extension().string();
            if (extension != ".m2v" && extension != ".vob" && extension != ".mpg" && extension != ".ts")
                continue;
            if (path.filename().string().starts_with("refused-") == inWanted) streams.push_back(Load(path));
        }
        return streams;
    };
    static const std::vector<RealStream> accepted = load(false);
    static const std::vector<RealStream> refused = load(true);
    return inRefused ? refused : accepted;
}

bool StartsWithCode(const Bytes& inBytes, std::size_t inAt, unsigned inCode) {
    return inAt + 4 <= inBytes.size() && inBytes[inAt] == 0 && inBytes[inAt + 1] == 0 &&
           inBytes[inAt + 2] == 1 && inBytes[inAt + 3] == inCode;
}

// Appends the payload from inPayload to inEnd of the packet at inPacket to the video.
void AddPayload(Packetised& ioStream, std::size_t inPacket, std::size_t inPayload, std::size_t inEnd) {
    if (inPayload >= inEnd) return;
    ioStream.pieces.push_back({ioStream.video.size(), inPacket, inPayload});
    const auto begin = ioStream.bytes.begin();
    ioStream.video.insert(ioStream.video.end(), begin + static_cast<std::ptrdiff_t>(inPayload),
                          begin + static_cast<std::ptrdiff_t>(inEnd));
}

Packetised DemultiplexProgram(const Bytes& inBytes) {
    Packetised stream{inBytes, {}, {}};
    for (std::size_t at = 0; at + 14 <= inBytes.size();) {
        const unsigned id = inBytes[at + 3];
        if (!StartsWithCode(inBytes, at, id)) throw std::runtime_error("no packet at " + std::to_string(at));
        if (id == 0xBA) {
            at += 14U + (inBytes[at + 13] & 7U);
        } else if (id == 0xB9) {
            at += 4;
        } else {
            const std::size_t end =
                at + 6 + (static_cast<std::size_t>(inBytes[at + 4]) << 8 | inBytes[at + 5]);
            if (id == 0xE0) AddPayload(stream, at, at + 9 + inBytes[at + 8], end);
            at = end;
        }
    }
    return stream;
}

unsigned PidAt(const Bytes& inBytes, std::size_t inPacket) {
    return (inBytes[inPacket + 1] & 0x1FU) << 8 | inBytes[inPacket + 2];
}

Packetised DemultiplexTransport(const Bytes& inBytes) {
    Packetised stream{inBytes, {}, {}};
    unsigned videoPid = 0;
    for (std::size_t at = 0; at + 188 <= inBytes.size(); at += 188) {
        const bool hasField = (inBytes[at + 3] & 0x20) != 0, hasPayload = (inBytes[at + 3] & 0x10) != 0;
        std::size_t payload = at + 4 + (hasField ? 1U + inBytes[at + 4] : 0U);
        if (!hasPayload || payload + 9 > at + 188) continue;
        const bool begins = (inBytes[at + 1] & 0x40) != 0 && StartsWithCode(inBytes, payload, 0xE0);
        if (videoPid == 0 && begins) videoPid = PidAt(inBytes, at);
        if (videoPid == 0 || PidAt(inBytes, at) != videoPid) continue;
        AddPayload(stream, at, payload + (begins ? 9U + inBytes[payload + 8] : 0U), at + 188);
    }
    return stream;
}

Packetised Demultiplex(const Bytes& inBytes) {
    if (inBytes[0] == 0x47) return DemultiplexTransport(inBytes);
    return StartsWithCode(inBytes, 0, 0xBA) ? DemultiplexProgram(inBytes) : Elementary(inBytes);
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

// A start code is handled when so many bytes of the video follow its first one: those of a picture coding
// extension at the very end may be too few, and the last picture then has no flags. Its position in the
// stream, or none.
std::optional<std::uint64_t> PictureWithoutFlags(const Packetised& inStream, bool inTransport) {
    const std::size_t picture = PictureStartCodes(inStream.video).back();
    std::size_t extension = picture + 8;
    while (!StartsWithCode(inStream.video, extension, 0xB5)) ++extension;
    if (inStream.video.size() - extension >= (inTransport ? 32U : 33U)) return {};
    return inStream.PacketPosition(picture);
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
        const auto flagless =
            PictureWithoutFlags(Demultiplex(stream.bytes), index.header.streamKind == kStreamKindTransport);
        const bool progressive = (index.header.formatWord & kFieldOrderMask) == kFieldOrderProgressive;
        for (std::size_t number = 0; number < stream.frames.size(); ++number) {
            SCOPED_TRACE(number);
            const FrameRecord& record = index.records[leading + number];
            const ProbedFrame& frame = stream.frames[number];
            ASSERT_EQ(" IPB"[PictureCodingType(record)], frame.type);
            const bool top = (record.flags & kTopFieldFirstBit) != 0;
            const bool repeat = (record.flags & kRepeatFirstFieldBit) != 0;
            if (flagless == std::uint64_t{record.offset} && number + 1 == stream.frames.size()) {
                ASSERT_EQ(record.flags & (kProgressiveFrameBit | kTopFieldFirstBit | kRepeatFirstFieldBit),
                          0);
                continue;
            }
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

TEST(RealStreams, RecordsAccountForEveryByteFromTheFirstPictureOn) {
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const IndexResult index = Index(stream.bytes);
        const Packetised expected = Demultiplex(stream.bytes);
        ASSERT_EQ(RecordedExtents(index), ExpectedExtents(expected));
        std::uint64_t total = 0;
        std::uint32_t largest = 0;
        for (const FrameRecord& record : index.records) {
            const auto at = static_cast<std::size_t>(record.offset);
            switch (index.header.streamKind) {
                case kStreamKindElementary:
                    ASSERT_TRUE(StartsWithCode(stream.bytes, at, 0x00));
                    break;
                case kStreamKindProgram:
                    ASSERT_TRUE(StartsWithCode(stream.bytes, at, 0xE0));
                    break;
                default:
                    ASSERT_EQ(stream.bytes[at], 0x47);
                    ASSERT_EQ(PidAt(stream.bytes, at),
                              PidAt(stream.bytes, expected.pieces[0].packetPosition));
            }
            const std::uint32_t size = record.size;
            total += size;
            largest = std::max(largest, size);
        }
        if (index.header.streamKind == kStreamKindElementary) {
            EXPECT_EQ(PictureStartCodes(stream.bytes)[0] + total, stream.bytes.size());
        }
        EXPECT_EQ(index.header.maxPictureSize, largest);
        EXPECT_EQ(index.header.streamLength, stream.bytes.size());
    }
}

TEST(RealStreams, ReferencesAreTheNearestAnchorsOnEitherSide) {
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const IndexResult index = Index(stream.bytes);
        const auto count = static_cast<int>(index.records.size());
        const auto anchor = [&](int inFrom, int inStep) {
            int at = inFrom + inStep;
            while (at >= 0 && at < count &&
                   PictureCodingType(index.records[static_cast<std::size_t>(at)]) == kPictureTypeB) {
                at += inStep;
            }
            return at - inFrom;
        };
        for (int number = static_cast<int>(LeadingUndecodable(index)); number < count; ++number) {
            SCOPED_TRACE(number);
            const FrameRecord& record = index.records[static_cast<std::size_t>(number)];
            const unsigned type = PictureCodingType(record);
            ASSERT_EQ(record.pastRefDelta, type == kPictureTypeI ? 0 : anchor(number, -1));
            ASSERT_EQ(record.futureRefDelta, type == kPictureTypeB ? anchor(number, 1) : 0);
            ASSERT_LE(0, number + record.pastRefDelta);
            ASSERT_LT(number + record.futureRefDelta, count);
        }
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
    const char* text = std::getenv("VEXMORA_SEED");
    const std::uint64_t seed = text != nullptr ? std::strtoull(text, nullptr, 10) : std::random_device()();
    std::cout << "VEXMORA_SEED=" << seed << '\n';
    for (const RealStream& stream : Streams()) {
        SCOPED_TRACE(stream.name);
        const std::size_t size = stream.bytes.size();
        const IndexResult whole = Index(stream.bytes);
        for (const std::size_t piece : {std::size_t{1} << 24, std::size_t{4096}, std::size_t{33}}) {
            EXPECT_TRUE(Index(stream.bytes, FixedCuts(size, piece)) == whole) << "pieces of " << piece;
        }
        EXPECT_TRUE(Index(stream.bytes, RandomCuts(size, 33, 5000, seed)) == whole) << "seed " << seed;
        EXPECT_TRUE(Index(stream.bytes, RandomCuts(size, 33, 200, seed)) == whole) << "seed " << seed;
    }
}

TEST(RealStreams, OtherKindsOfMpegAreRefused) {
    ASSERT_EQ(Streams(true).size(), 2U);
    for (const RealStream& stream : Streams(true)) {
        const IndexResult index = Index(stream.bytes);
        // MPEG-1 packs are told by the first bytes, MPEG-1 video by its missing extension.
        EXPECT_EQ(index.created, stream.name.ends_with(".mpg") ? Vexmora_Failure : Vexmora_Ok);
        if (index.created == Vexmora_Ok) {
            EXPECT_EQ(index.done, Vexmora_Unsupported);
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
