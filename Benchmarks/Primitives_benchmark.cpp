// Every primitive of decoding in every table that this processor runs. The counter "portable" is the time of
// the portable implementation over that of the table: how many times as fast it is.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "mpeg2/vlc/VlcLists.h"
#include "primitives/PrimitiveTable.h"
#include "primitives/Variant.h"

namespace Vexmora {
namespace {

constexpr std::ptrdiff_t kStep = 1920;
// What a primitive does to the memory of one benchmark.
struct Arena {
    alignas(64) std::array<std::uint8_t, kStep * 64> pixels{};
    alignas(64) std::array<std::int16_t, 64> residual{};
    std::array<std::uint8_t, kStep * 64> reference{};
};
Arena gArena;

// Seconds a call of the portable implementation, by primitive; it is always measured first.
std::map<std::string, double> gPortable;

template <typename Function>
void Measure(benchmark::State& ioState, const std::string& inPrimitive, bool inIsPortable,
             const Function& inCall) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    for (auto _ : ioState) {
        PrimitiveStatus status = inCall();
        benchmark::DoNotOptimize(status);
        benchmark::ClobberMemory();
        if (status != PrimitiveStatus::Ok) ioState.SkipWithError("the primitive failed");
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count() /
                           static_cast<double>(ioState.iterations());
    if (inIsPortable) gPortable[inPrimitive] = seconds;
    const auto portable = gPortable.find(inPrimitive);
    if (portable != gPortable.end()) ioState.counters["portable"] = portable->second / seconds;
}

// inMake makes the call out of a table.
template <typename Make>
void Register(const std::string& inPrimitive, const Make& inMake) {
    const int highest = TableFor(kVariantCount - 1, RunningProcessor());
    for (int table = -1; table <= highest; ++table) {
        const PrimitiveTable& primitives = table < 0 ? PortablePrimitives() : PrimitivesAt(table);
        const std::string name = inPrimitive + (table < 0 ? "/portable" : "/table" + std::to_string(table));
        benchmark::RegisterBenchmark(name.c_str(), [=, call = inMake(primitives)](benchmark::State& ioState) {
            Measure(ioState, inPrimitive, table < 0, call);
        });
    }
}

CoefficientBlock MakeBlock(unsigned inCount) {
    std::mt19937 random(inCount);
    CoefficientBlock block{};
    block.values[0] = 304;
    for (unsigned i = 1; i < inCount; ++i) {
        const auto position = static_cast<unsigned>(random() % 4 * 8 + random() % 4);
        block.values[position] = static_cast<std::int16_t>(static_cast<int>(random() % 200) - 100);
        block.reach |= position;
    }
    block.values[63] = 1;
    return block;
}

void RegisterTransforms() {
    for (const unsigned count : {1U, 8U}) {
        const CoefficientBlock block = MakeBlock(count);
        const std::string suffix = count == 1 ? "/dc" : "/sparse";
        const auto to_pixels = [&](const char* inName, auto PrimitiveTable::*inTransform) {
            Register(inName + suffix, [=](const PrimitiveTable& in) {
                return [=, transform = in.*inTransform] {
                    return transform(block, gArena.pixels.data(), kStep);
                };
            });
        };
        to_pixels("inverseDctToPixels", &PrimitiveTable::inverseDctToPixels);
        to_pixels("inverseDctAddToPixels", &PrimitiveTable::inverseDctAddToPixels);
        to_pixels("reducedIdctAddToPixels", &PrimitiveTable::reducedIdctAddToPixels);
        to_pixels("quarterIdctAddToPixels", &PrimitiveTable::quarterIdctAddToPixels);
        Register("inverseDctToResidual" + suffix, [=](const PrimitiveTable& in) {
            return [=, transform = in.inverseDctToResidual] {
                return transform(block, gArena.residual.data(), 16);
            };
        });
    }
}

void RegisterPredictions() {
    constexpr std::array kSizes{"16x16", "16x8", "8x16", "8x8", "8x4", "4x8", "4x4", "4x2"};
    constexpr std::array kTypes{"full", "vertical", "horizontal", "both"};
    for (std::size_t size = 0; size < kBlockSizeCount; ++size) {
        for (std::size_t type = 0; type < kTypes.size(); ++type) {
            const std::string suffix = std::string("/") + kSizes[size] + "/" + kTypes[type];
            const auto half = static_cast<HalfSampleType>(4 * type);
            const ReferenceBlock first{gArena.reference.data() + 5, kStep, half};
            const ReferenceBlock second{gArena.reference.data() + 5 * kStep + 70, kStep, half};
            const PixelBlock pixels{gArena.pixels.data(), kStep};
            Register("predictBlock" + suffix, [=](const PrimitiveTable& in) {
                return [=, predict = in.predictBlock[size]] { return predict(first, {}, pixels); };
            });
            Register("predictBlockBidirectional" + suffix, [=](const PrimitiveTable& in) {
                return [=, predict = in.predictBlockBidirectional[size]] {
                    return predict(first, second, {}, pixels);
                };
            });
        }
    }
    Register("copyBlock/16x16", [](const PrimitiveTable& in) {
        return [copy = in.copyBlock] {
            return copy(gArena.reference.data(), kStep, gArena.pixels.data(), kStep, 16, 16);
        };
    });
    Register("fillBlock/16x16", [](const PrimitiveTable& in) {
        return [fill = in.fillBlock] { return fill(81, gArena.pixels.data(), kStep, 16, 16); };
    });
}

// The bits as words in host order, with zeros behind them.
std::vector<std::uint8_t> ToWords(std::string_view inBits) {
    std::vector<std::uint8_t> words(512);
    for (std::size_t i = 0; i < inBits.size(); ++i) {
        if (inBits[i] == '1') words[i / 32 * 4 + 3 - i / 8 % 4] |= static_cast<std::uint8_t>(0x80 >> i % 8);
    }
    return words;
}

struct CodedBlocks {
    CodedBlocks() {
        static_cast<void>(BuildVlcTable(kDctDcSizeLuminanceList, dcSize));
        static_cast<void>(BuildRunLevelTable(kDctFirstCoefficientList, first));
        static_cast<void>(BuildRunLevelTable(kDctCoefficientList, ac));
        for (unsigned i = 0; i < 64; ++i) scan[i] = static_cast<std::uint8_t>(i);
        weights.fill(20);
    }

    VlcTable dcSize;
    RunLevelTable first, ac;
    std::array<std::uint8_t, 64> scan;
    std::array<std::uint16_t, 64> weights;
    // Seven coefficients of runs 0 to 4 and the end of the block, behind a DC differential or a first
    // coefficient.
    std::vector<std::uint8_t> intra = ToWords(
        "01"
        "10"
        "110"
        "0111"
        "01000"
        "111"
        "0110"
        "010101"
        "0011010"
        "10");
    std::vector<std::uint8_t> nonIntra = ToWords(
        "10"
        "110"
        "0111"
        "01000"
        "111"
        "0110"
        "010101"
        "0011010"
        "10");
};

void RegisterBlockDecoding() {
    static const CodedBlocks blocks;
    Register("decodeIntraBlock", [](const PrimitiveTable& in) {
        return [decode = in.decodeIntraBlock] {
            static CoefficientBlock block;
            BitWindow bits(blocks.intra.data(), blocks.intra.size() / 4, 0);
            std::int16_t predictor = 100;
            return decode(
                bits,
                {ViewOf(blocks.dcSize), ViewOf(blocks.ac), blocks.scan.data(), blocks.weights.data(), 8, 3},
                predictor, block);
        };
    });
    Register("decodeNonIntraBlock", [](const PrimitiveTable& in) {
        return [decode = in.decodeNonIntraBlock] {
            static CoefficientBlock block;
            BitWindow bits(blocks.nonIntra.data(), blocks.nonIntra.size() / 4, 0);
            return decode(
                bits, {ViewOf(blocks.first), ViewOf(blocks.ac), blocks.scan.data(), blocks.weights.data(), 8},
                block);
        };
    });
}

}  // namespace
}  // namespace Vexmora

int main(int inCount, char** inArguments) {
    benchmark::Initialize(&inCount, inArguments);
    if (benchmark::ReportUnrecognizedArguments(inCount, inArguments)) return 2;
    Vexmora::RegisterBlockDecoding();
    Vexmora::RegisterTransforms();
    Vexmora::RegisterPredictions();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
