// How much slower it is to index a stream while reading it, in the pieces that the library reads, than just
// to read it in large ones. The streams' folder is the first argument or, without one, the current folder
// (see make_streams.sh).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "PlainReading.h"
#include "Vexmora/Vexmora.h"

namespace {

constexpr std::size_t kLargeBuffer = 16 * 1024 * 1024;
constexpr std::size_t kScannedBuffer = 256 * 1024;

// Returns the number of records; 0 when the stream could not be indexed.
std::size_t ReadAndIndex(const std::string& inPath, ReadBuffer& ioBuffer) {
    Vexmora_IndexerHandle indexer = nullptr;
    const std::uint64_t size = ReadThrough(
        inPath, ioBuffer, [&indexer](const std::uint8_t* inBytes, std::size_t inCount, std::uint64_t inAt) {
            if (inAt == 0) static_cast<void>(Vexmora_CreateIndexerFromFirstBuffer(inBytes, &indexer));
            static_cast<void>(Vexmora_BufferIndexerScan(indexer, inBytes, inCount, inAt));
        });
    Vexmora::IndexHeader header{};
    std::vector<Vexmora::AudioAlignmentRun> plan;
    std::vector<Vexmora::FrameRecord> records;
    static_cast<void>(Vexmora_BufferIndexerDone(indexer, size, &header, &plan, &records));
    static_cast<void>(Vexmora_BufferIndexerDestroy(&indexer));
    return records.size();
}

// One round reads the file alone and then reads and indexes it; the rates and their ratio are over all
// rounds.
void IndexWhileReading(benchmark::State& ioState, const std::string& inPath) {
    if (!OpenFile(inPath)) {
        ioState.SkipWithError(("no " + inPath + ": run make_streams.sh first").c_str());
        return;
    }
    ReadBuffer buffer(kLargeBuffer);
    ReadBuffer scannedBuffer(kScannedBuffer);
    const std::uint64_t size = ReadOnly(inPath, buffer);
    double readSeconds = 0;
    double indexSeconds = 0;
    std::size_t records = 0;
    for (auto _ : ioState) {
        readSeconds += Seconds([&] { static_cast<void>(ReadOnly(inPath, buffer)); });
        const double round = Seconds([&] { records = ReadAndIndex(inPath, scannedBuffer); });
        indexSeconds += round;
        ioState.SetIterationTime(round);
    }
    if (records == 0) ioState.SkipWithError("the stream could not be indexed");
    const double bytes = static_cast<double>(size) * static_cast<double>(ioState.iterations());
    ioState.counters["read_GBps"] = bytes / readSeconds * 1e-9;
    ioState.counters["index_GBps"] = bytes / indexSeconds * 1e-9;
    ioState.counters["ratio"] = indexSeconds / readSeconds;
    ioState.counters["records"] = static_cast<double>(records);
}

}  // namespace

int main(int inCount, char** inArguments) {
    benchmark::Initialize(&inCount, inArguments);
    const std::string folder = inCount > 1 ? inArguments[1] : ".";
    Vexmora_Startup();
    for (const char* name : {"large.m2v", "large.mpg", "large.ts"}) {
        benchmark::RegisterBenchmark(name, IndexWhileReading, folder + "/" + name)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->MinTime(3);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    Vexmora_Shutdown();
}
