// A video is one list of frames, whatever changes on the way: quantiser matrices of sequence headers and of
// pictures, extensions that are broken. In any order, packaging and scale, on any number of threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "Host/HostTestSupport.h"
#include "PlainDecode.h"
#include "Support/Options.h"
#include "Syntax/RandomStream.h"
#include "VexmoraHost/Movie.h"

namespace VexmoraHost {
namespace {

using Vexmora::Test::Bytes;

Bytes Join(std::initializer_list<const char*> inNames) {
    std::string video;
    for (const char* const name : inNames)
        video += ReadFile(std::filesystem::path(VEXMORA_STREAM_DIR) / name);
    return {video.begin(), video.end()};
}

// Where the extensions are that ParsePictureHeader and ParseSequenceHeader read.
std::vector<std::size_t> Extensions(const Bytes& inVideo, unsigned inIdentifier) {
    std::vector<std::size_t> found;
    for (std::size_t at = 0; at + 16 < inVideo.size(); ++at) {
        if (inVideo[at] == 0 && inVideo[at + 1] == 0 && inVideo[at + 2] == 1 && inVideo[at + 3] == 0xB5 &&
            inVideo[at + 4] >> 4 == inIdentifier) {
            found.push_back(at);
        }
    }
    return found;
}

// Every third picture loads another flat matrix, for luma or for non-intra blocks alone.
Bytes AddMatrices(Bytes inVideo) {
    const std::vector<std::size_t> pictures = Extensions(inVideo, 8);
    for (std::size_t i = pictures.size(); i-- > 0;) {
        if (i % 3 != 0) continue;
        Vexmora::Test::BitWriter extension;
        extension.Put(32, 0x1B5).Put(4, 3).Put(2, i % 2 == 0 ? 2 : 1);
        for (int k = 0; k < 64; ++k) extension.Put(8, 16 + i % 32);
        const Bytes bytes = extension.Put(1 + i % 2, 0).Put(2, 0).Take();
        inVideo.insert(inVideo.begin() + static_cast<std::ptrdiff_t>(pictures[i] + 9), bytes.begin(),
                       bytes.end());
    }
    return inVideo;
}

void Flip(std::uint8_t& ioByte, unsigned inBit) {
    ioByte = static_cast<std::uint8_t>(ioByte ^ 0x80u >> inBit);
}

// Flips a bit of one extension in five, behind the first: of a sequence's or a picture's identifier, of load
// flags and weights, of f_codes.
Bytes BreakExtensions(Bytes inVideo, unsigned inSeed) {
    struct Bits {
        unsigned identifier;
        unsigned first;
        unsigned count;
    };
    std::mt19937 random(inSeed);
    for (const Bits& bits : {Bits{1, 0, 4}, Bits{3, 4, 16}, Bits{8, 0, 20}}) {
        const std::vector<std::size_t> extensions = Extensions(inVideo, bits.identifier);
        for (std::size_t i = 1; i < extensions.size(); ++i) {
            const std::size_t bit = bits.first + random() % bits.count;
            if (random() % 5 == 0) Flip(inVideo[extensions[i] + 4 + bit / 8], bit % 8);
        }
    }
    return inVideo;
}

struct Frame {
    explicit Frame(const Picture& inPicture)
        : samples(SamplesOf(inPicture)),
          status(inPicture.damage.status),
          macroblocks(inPicture.damage.macroblocks) {}
    friend bool operator==(const Frame&, const Frame&) = default;

    Samples samples;
    Vexmora_Status status;
    std::uint32_t macroblocks;
};
using Frames = std::vector<Frame>;

class Positions : public testing::Test {
  protected:
    Positions() { ProcessFrameCache().SetBudget(0); }
    ~Positions() override { ProcessFrameCache().SetBudget(kDefaultFrameCacheBytes); }

    Movie Open(const std::string& inName) const {
        return Movie::Open(mFolder / inName, {.indexDir = mFolder / "store"});
    }
    // In the order that inSort makes of the forward one.
    template <class Sort>
    Frames Decode(const std::string& inName, Scale inScale, const Sort& inSort) const {
        Movie movie = Open(inName);
        std::vector<std::uint32_t> order(movie.Info().frameCount);
        std::iota(order.begin(), order.end(), 0u);
        inSort(order);
        std::map<std::uint32_t, Frame> frames;
        for (const std::uint32_t frame : order) frames.emplace(frame, *movie.Frame(frame, inScale));
        Frames list;
        for (const auto& [number, frame] : frames) list.push_back(frame);
        return list;
    }
    Frames Run(const std::string& inName, Scale inScale, unsigned inThreads) const {
        Movie movie = Open(inName);
        FrameRun run = movie.Run(0, movie.Info().frameCount, inScale, inThreads);
        Frames list;
        while (const SharedPicture picture = run.Next()) list.emplace_back(*picture);
        return list;
    }

    Frames ExpectOneList(const Bytes& inVideo, Scale inScale) const {
        using namespace Vexmora::Test;
        WriteFile(mFolder / "media.m2v", {inVideo.begin(), inVideo.end()});
        const auto begin = [](const Bytes& inBytes) {
            return [=](std::size_t inPacket) { return inPacket == 0 ? inBytes : Bytes{}; };
        };
        const Bytes program =
            ProgramStream(inVideo, {.payloadSizes = {2001, 97}, .before = begin(PackHeader())}).bytes;
        WriteFile(mFolder / "media.mpg", {program.begin(), program.end()});
        const Bytes tables = Vexmora::Test::Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
        const Bytes transport =
            TransportStream(inVideo, {.payloadSizes = {150}, .before = begin(tables)}).bytes;
        WriteFile(mFolder / "media.ts", {transport.begin(), transport.end()});

        const auto forward = [](auto&) {};
        const Frames expected = Decode("media.m2v", inScale, forward);
        for (const char* const name : {"media.m2v", "media.mpg", "media.ts"}) {
            SCOPED_TRACE(name);
            EXPECT_TRUE(Decode(name, inScale, [](auto& io) { std::ranges::reverse(io); }) == expected);
            const auto shuffle = [](auto& io) { std::ranges::shuffle(io, std::mt19937(7)); };
            EXPECT_TRUE(Decode(name, inScale, shuffle) == expected) << "at random";
            for (const unsigned threads : {1u, 2u, 5u}) {
                EXPECT_TRUE(Run(name, inScale, threads) == expected) << threads << " threads";
            }
        }
        return expected;
    }

    TemporaryFolder mFolder;
};

std::vector<Bytes> Videos() {
    std::vector<Bytes> videos{
        Join({"tools/quant-matrices.m2v", "tools/enc-matrices-kvcd.m2v", "tools/quant-flat.m2v",
              "tools/enc-matrices-tmpgenc.m2v"}),
        AddMatrices(Join({"tools/same-enc.m2v", "tools/same-rows.m2v"})),
        AddMatrices(Join({"b1-100x76.m2v"})),
    };
    Vexmora::Test::Features unused;
    for (const auto& plan : Vexmora::Test::kStreamPlans) {
        if (!plan.HasFields()) videos.push_back(MakeRandomStream(plan, 5, unused).All());
    }
    return videos;
}

TEST_F(Positions, GiveOneListOfFrames) {
    const std::vector<Bytes> videos = Videos();
    for (std::size_t i = 0; i < videos.size(); i += Vexmora::Test::kIsSanitized ? 2 : 1) {
        const Scale scale = std::array{Scale::Full, Scale::HalfWidth, Scale::Quarter}[i % 3];
        SCOPED_TRACE(i);
        for (const Frame& frame : ExpectOneList(videos[i], scale)) {
            EXPECT_EQ(frame.status, Vexmora_Ok);
            EXPECT_EQ(frame.macroblocks, 0u);
        }
        const Frames broken = ExpectOneList(BreakExtensions(videos[i], 3), scale);
        EXPECT_TRUE(std::ranges::any_of(broken, [](const Frame& in) { return in.macroblocks > 0; }))
            << "a picture that lost its extension is named";
    }
}

}  // namespace
}  // namespace VexmoraHost
