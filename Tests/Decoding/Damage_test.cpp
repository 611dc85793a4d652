// Streams with wrong bits: whatever they say, a frame gets a status and nothing outside the host's planes is
// touched (they have no byte to spare, which sanitizers watch).
#include <gtest/gtest.h>

#include <unistd.h>

#include <random>
#include <set>

#include "Decoding/DecodeChain.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

class Damage : public testing::Test {
  protected:
    Damage() : mMedia(fs::temp_directory_path() / ("vexmora_damage_" + std::to_string(getpid()))) {}
    ~Damage() override { fs::remove(mMedia); }

    fs::path mMedia;
};

TEST_F(Damage, WrongBitsGiveAStatusAndStayInsideThePlanes) {
    const std::uint32_t seed = std::getenv("VEXMORA_SEED") != nullptr
                                   ? static_cast<std::uint32_t>(std::atoi(std::getenv("VEXMORA_SEED")))
                                   : 20;
    std::printf("VEXMORA_SEED=%u\n", seed);
    std::mt19937 random(seed);
    const std::set<Vexmora_Status> allowed{
        Vexmora_Ok,          Vexmora_Unsupported,    Vexmora_NoSequenceHeader,
        Vexmora_NoSuchFrame, Vexmora_NoCodedPicture, Vexmora_EmptyRecord};
    int damagedFrames = 0;
    for (const char* name : {"ip-64x48.m2v", "b1-100x76.m2v", "enc-bottom-352x256.m2v", "b3-100x76.ts"}) {
        const std::vector<std::uint8_t> good = ReadAll(fs::path(VEXMORA_STREAM_DIR) / name);
        for (int round = 0; round < 6; ++round) {
            std::vector<std::uint8_t> bytes = good;
            const std::size_t everyNth = round < 3 ? 200 : 3000;
            for (std::size_t i = 0; i < bytes.size() / everyNth; ++i) {
                const std::size_t at = 160 + random() % (bytes.size() - 160);
                bytes[at] =
                    static_cast<std::uint8_t>(round % 2 == 0 ? bytes[at] ^ (1u << random() % 8) : random());
            }
            // Other picture structures, vectors and scans than the stream was coded with.
            for (std::size_t i = 160; i + 8 < bytes.size(); ++i) {
                const bool isExtension =
                    bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1 && bytes[i + 3] == 0xB5;
                if (!isExtension || bytes[i + 4] >> 4 != 8 || random() % 4 != 0) continue;
                bytes[i + 6] = static_cast<std::uint8_t>(random());
                bytes[i + 7] = static_cast<std::uint8_t>(random());
            }
            WriteAll(mMedia, good);
            const std::array scales{kFullSize, kHalfWidth, kQuarterSize};
            DecodeChain chain(mMedia, scales[static_cast<std::size_t>(round) % scales.size()]);
            const std::uint32_t width = chain.Info().width;
            const std::uint32_t height = chain.Info().height;
            WriteAll(mMedia, bytes);
            if (chain.Open() != Vexmora_Ok) continue;
            // A damaged sequence header may call for planes of any size: that takes too long here.
            if (chain.Info().width != width || chain.Info().height != height) continue;
            for (std::uint32_t frame = chain.Header().firstFrame; frame <= chain.Header().lastFrame;
                 ++frame) {
                const auto& decoded = chain.Frame(static_cast<std::int32_t>(frame));
                EXPECT_TRUE(allowed.contains(decoded.status))
                    << name << " " << frame << ": " << decoded.status;
                ++damagedFrames;
            }
        }
    }
    EXPECT_GT(damagedFrames, 500);
}

}  // namespace
}  // namespace Vexmora::Test
