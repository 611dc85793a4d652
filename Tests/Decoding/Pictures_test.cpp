// Every frame of encoders' streams against independent decoders, and reduced pictures beside full ones.
//
// One step: a picture decoded from the other decoder's own references may be 1 off in a sample, because the
// standard leaves that much to the inverse transform. Whole chain: from our own references, the error against
// a decoder with a transform of double precision is less than half of that of one with an integer transform.
#include <gtest/gtest.h>

#include <list>
#include <set>

#include "Decoding/CodedVideo.h"
#include "Decoding/OtherDecoders.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

constexpr int kOneStepLimit = 1;
constexpr double kWholeChainLimit = 0.5;

/// A stream, whose name comes first, or all elementary streams whose names begin so.
std::set<fs::path> Streams(const std::string& inBegin) {
    const fs::path begin = fs::path(VEXMORA_STREAM_DIR) / inBegin;
    if (begin.has_extension()) return {begin};
    std::set<fs::path> streams;
    for (const fs::path& path : StreamFiles(begin.parent_path())) {
        if (path.extension() == ".m2v" && path.filename().string().starts_with(begin.filename().string()))
            streams.insert(path);
    }
    EXPECT_GE(streams.size(), 3u);
    return streams;
}

std::size_t SamplesOf(const PlaneLayout& inLayout) {
    return Visible(Picture420(inLayout), inLayout).size();
}

/// What precedes the first I picture of a stream that begins in the middle other decoders do not show.
std::int32_t FirstShown(const DecodeChain& inChain, const Samples& inTheirs, const PlaneLayout& inLayout) {
    EXPECT_EQ(inTheirs.size() % SamplesOf(inLayout), 0u);
    const std::size_t first = inChain.Header().lastFrame + 1 - inTheirs.size() / SamplesOf(inLayout);
    EXPECT_GE(first, inChain.Header().firstFrame);
    EXPECT_LE(first, inChain.Header().firstFrame + 2);
    return static_cast<std::int32_t>(first);
}

void CompareWholeChain(DecodeChain& ioChain, const Samples& inExact, const Samples& inInteger) {
    ASSERT_EQ(inExact.size(), inInteger.size());
    const PlaneLayout layout = ioChain.Layout();
    Samples ours;
    for (std::int32_t frame = FirstShown(ioChain, inExact, layout); ours.size() < inExact.size(); ++frame) {
        const auto& decoded = ioChain.Frame(frame);
        ASSERT_EQ(decoded.status, Vexmora_Ok) << frame;
        const Samples visible = Visible(decoded.picture, layout);
        if (ours.empty()) {
            EXPECT_LE(Compare(visible.data(), inExact.data(), visible.size()).largest, 1) << "I picture";
        }
        ours.insert(ours.end(), visible.begin(), visible.end());
    }
    const auto error = [&](const Samples& in) {
        return Compare(in.data(), inExact.data(), inExact.size()).meanSquare;
    };
    std::printf("error of ours %.5f, of an integer transform's %.5f\n", error(ours), error(inInteger));
    EXPECT_LE(error(ours), kWholeChainLimit * error(inInteger));
}

/// An elementary stream that declares the size that it is coded with: whole macroblocks, in an interlaced
/// sequence for each field (ISO/IEC 13818-2, 6.3.3), so that decoders show all they decode. It ends with a
/// sequence_end_code, without which one of them keeps its last pictures.
PlaneLayout DeclareWhole(const fs::path& inMedia, const fs::path& inWidened) {
    Bytes bytes = Join({ReadAll(inMedia), SequenceEnd()});
    unsigned width = 0;
    unsigned height = 0;
    const std::vector<std::size_t> extensions = StartCodes(bytes, 0xB5, 0xB5);
    for (const std::size_t at : StartCodes(bytes, 0xB3, 0xB3)) {
        std::uint8_t* const size =
            &bytes[at + 4];  // horizontal_size_value, vertical_size_value: 12 bits each
        const auto extension = std::ranges::lower_bound(extensions, at);
        const unsigned lines = (bytes[*extension + 5] & 0x08) != 0 ? 16 : 32;  // progressive_sequence
        width = ((unsigned{size[0]} << 4 | size[1] >> 4) + 15) / 16 * 16;
        height = (((size[1] & 15u) << 8 | size[2]) + lines - 1) / lines * lines;
        size[0] = static_cast<std::uint8_t>(width >> 4);
        size[1] = static_cast<std::uint8_t>((width & 15) << 4 | height >> 8);
        size[2] = static_cast<std::uint8_t>(height);
    }
    WriteAll(inWidened, bytes);
    return PlaneLayoutOf(width, height, Scale::Full);
}

void CompareOneStep(DecodeChain& ioChain, const Samples& inTheirs, const PlaneLayout& inWhole) {
    const std::size_t frameSamples = SamplesOf(inWhole);
    ASSERT_EQ(inTheirs.size(), frameSamples * ioChain.Header().recordCount);
    const auto first = static_cast<std::int32_t>(ioChain.Header().firstFrame);
    const auto theirs = [&](std::int32_t in) {
        return inTheirs.data() + static_cast<std::size_t>(in - first) * frameSamples;
    };
    for (auto frame = first; frame <= static_cast<std::int32_t>(ioChain.Header().lastFrame); ++frame) {
        std::list<Picture420> references;
        const auto theirPlanes = [&](std::int32_t in) {
            return references.emplace_back(PictureOf(theirs(in), inWhole)).Planes();
        };
        Picture420 ours = ioChain.NewPicture();
        EXPECT_EQ(DecodeFrame(ioChain.Handle(), frame, Scale::Full, theirPlanes, ours), Vexmora_Ok);
        EXPECT_LE(Compare(Visible(ours, inWhole).data(), theirs(frame), frameSamples).largest, kOneStepLimit)
            << "frame " << frame << " with " << references.size() << " references";
    }
}

class Pictures : public testing::TestWithParam<const char*> {};

TEST_P(Pictures, AreThoseOfIndependentDecoders) {
    for (const fs::path& media : Streams(GetParam())) {
        SCOPED_TRACE(media.filename().string());
        DecodeChain chain(media);
        ASSERT_NE(chain.Handle(), nullptr);
        std::vector<Decoding> decodings{{media, "faani"}, {media, "simple"}};
        const bool isMadeForItsTools = media.parent_path().filename() == "tools";
        const TemporaryFolder folder;
        const fs::path widened = folder / "widened.m2v";
        PlaneLayout whole{};
        if (isMadeForItsTools) {
            whole = DeclareWhole(media, widened);
            decodings.push_back({widened, "faani"});
        }
        const std::vector<Samples> decoded = RunFfmpeg(decodings);
        CompareWholeChain(chain, decoded[0], decoded[1]);
        if (!isMadeForItsTools) continue;
        CompareOneStep(chain, decoded[2], whole);
        CompareOneStep(chain, RunMpeg2dec(widened, whole.width, whole.height), whole);
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Pictures,
                         testing::Values("tools/gop-", "tools/quant-", "tools/motion-", "tools/field-",
                                         "tools/size-", "tools/enc-", "tools/encfield-", "tools/joined-",
                                         "tools/same-", "intra-176x144.m2v", "ip-64x48.m2v", "b1-100x76.m2v",
                                         "b2-open-352x288.m2v", "b3-closed-352x240.m2v", "jumps-320x180.m2v",
                                         "top-720x576.m2v", "bottom-720x480.m2v", "pulldown-352x256.m2v",
                                         "enc-top-352x288.m2v", "enc-bottom-352x256.m2v",
                                         "enc-progressive.m2v", "odd-up-352x240.m2v", "odd-down-720x496.m2v",
                                         "hd-1920x1080.m2v", "narrow-1x64.m2v", "wide-4095x32.m2v",
                                         "flat-160x16.m2v", "tall-32x2800.m2v", "started-open.m2v",
                                         "packed-64x48.vob", "dvd-720x576.vob", "small-100x76.mpg",
                                         "mplex-dvd.vob", "mplex-generic.mpg", "mp2-720x576.ts",
                                         "b3-100x76.ts", "ac3-closed-352x240.ts", "started-open.ts"),
                         [](const auto& inInfo) {
                             std::string name = inInfo.param;
                             for (char& c : name) {
                                 if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
                             }
                             return name;
                         });

/// Mean square difference of a reduced picture's planes from every second sample (and line) of the full ones.
double DifferenceFromFull(DecodeChain& ioFull, DecodeChain& ioReduced, std::int32_t inFrame) {
    const std::size_t step = ioFull.Layout().macroblockHeight / ioReduced.Layout().macroblockHeight;
    Samples full;
    ForEachRow(ioFull.Frame(inFrame).picture, ioFull.Layout(),
               [&](std::size_t inLine, const std::uint8_t* inRow, std::size_t inCount) {
                   for (std::size_t x = 0; x < inCount && inLine % step == 0; x += 2)
                       full.push_back(inRow[x]);
               });
    const Samples reduced = Visible(ioReduced.Frame(inFrame).picture, ioReduced.Layout());
    EXPECT_EQ(full.size(), reduced.size());
    return Compare(full.data(), reduced.data(), reduced.size()).meanSquare;
}

// What the low frequencies of a block do not hold is missing, so a reduced picture is a little softer. Blocks
// or predictions in wrong places differ by much more.
TEST(Scales, ReducedPicturesShowWhatFullOnesShow) {
    for (const char* name :
         {"ip-64x48.m2v", "b2-open-352x288.m2v", "bottom-720x480.m2v", "enc-top-352x288.m2v"}) {
        SCOPED_TRACE(name);
        const fs::path media = fs::path(VEXMORA_STREAM_DIR) / name;
        DecodeChain full(media);
        for (const Scale scale : {Scale::HalfWidth, Scale::Quarter}) {
            DecodeChain reduced(media, scale);
            for (std::uint32_t frame = full.Header().firstFrame; frame <= full.Header().lastFrame; ++frame)
                EXPECT_LT(DifferenceFromFull(full, reduced, static_cast<std::int32_t>(frame)),
                          full.Info().width < 100 ? 300 : 130);
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
