// How much slower it is to take every picture of a stream out of its file than just to read the file in the
// same blocks. The streams' folder is the first argument or, without one, the current folder (see
// make_streams.sh).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Orvet/PathUtils.h"
#include "PlainReading.h"
#include "Splitter/Splitter.h"
#include "primitives/Variant.h"

namespace {

using namespace Vexmora;

constexpr std::uint32_t kCapacity = 4 << 20;

// A host without a cache: memory that is used again as soon as it is released, a handle being the address.
std::vector<std::uint8_t*> gFreeBlocks;

std::int32_t Allocate(MemoryHandle* outBlock, std::uint32_t, std::uint32_t inSize,
                      std::uint32_t inAlignment) {
    std::uint8_t* block = nullptr;
    if (inSize == BlockReader::kLeastBlockSize && !gFreeBlocks.empty()) {
        block = gFreeBlocks.back();
        gFreeBlocks.pop_back();
    } else {
        const std::size_t whole = (std::size_t{inSize} + inAlignment - 1) / inAlignment * inAlignment;
        block = static_cast<std::uint8_t*>(std::aligned_alloc(inAlignment, whole));
    }
    *outBlock = reinterpret_cast<MemoryHandle>(block);
    return block != nullptr ? 0 : -1;
}
void Release(MemoryHandle inBlock) {
    gFreeBlocks.push_back(reinterpret_cast<std::uint8_t*>(inBlock));  // NOLINT: handles are addresses
}
std::int32_t Address(MemoryHandle inBlock, std::uint32_t, std::uint8_t** outBytes) {
    *outBytes = reinterpret_cast<std::uint8_t*>(inBlock);  // NOLINT: handles are addresses
    return 0;
}
constexpr MemoryAllocatorTable kAllocator{nullptr, Allocate};
constexpr MemoryHandlesTable kHandles{Release, Address};
constexpr HostServices kServices{nullptr, &kAllocator, &kHandles, nullptr, nullptr, nullptr, 0};

// Returns how often a picture was delivered; 0 when the stream could not be read.
std::size_t ReadPictures(const std::string& inPath, CodedPictureBuffer& ioBuffer) {
    Splitter splitter(Orvet::PathUtils::FromNative(inPath), kServices);
    ioBuffer.ClearCarry();
    if (splitter.Open() != ReadStatus::Ok) return 0;
    std::size_t pictures = 0;
    while (splitter.ReadPicture(ioBuffer) == ReadStatus::Ok) ++pictures;
    return pictures;
}

// One round reads the file alone and then its pictures; the rates and their ratio are over all rounds.
void ReadEveryPicture(benchmark::State& ioState, const std::string& inPath) {
    if (!OpenFile(inPath)) {
        ioState.SkipWithError(("no " + inPath + ": run make_streams.sh first").c_str());
        return;
    }
    StartCodeTable table;
    const CountedRef<CodedPictureBuffer> buffer = CodedPictureBuffer::Create(kCapacity, table, kServices);
    ReadBuffer block(BlockReader::kLeastBlockSize);
    const std::uint64_t size = ReadOnly(inPath, block);
    double readSeconds = 0;
    double pictureSeconds = 0;
    std::size_t pictures = 0;
    for (auto _ : ioState) {
        readSeconds += Seconds([&] { static_cast<void>(ReadOnly(inPath, block)); });
        const double round = Seconds([&] { pictures = ReadPictures(inPath, *buffer); });
        pictureSeconds += round;
        ioState.SetIterationTime(round);
    }
    if (pictures == 0) ioState.SkipWithError("no picture could be read");
    const double bytes = static_cast<double>(size) * static_cast<double>(ioState.iterations());
    ioState.counters["read_GBps"] = bytes / readSeconds * 1e-9;
    ioState.counters["pictures_GBps"] = bytes / pictureSeconds * 1e-9;
    ioState.counters["share"] = readSeconds / pictureSeconds;
    ioState.counters["pictures"] = static_cast<double>(pictures);
}

}  // namespace

int main(int inCount, char** inArguments) {
    benchmark::Initialize(&inCount, inArguments);
    const std::string folder = inCount > 1 ? inArguments[1] : ".";
    static_cast<void>(SelectProcessorVariant(kAutomaticVariant));
    for (const char* name : {"large.m2v", "large.mpg", "large.ts"}) {
        benchmark::RegisterBenchmark(name, ReadEveryPicture, folder + "/" + name)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->MinTime(3);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
