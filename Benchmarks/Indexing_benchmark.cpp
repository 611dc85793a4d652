// How much slower it is to index a stream while reading it than just to read it, in the same 16 MiB buffers.
// The streams' folder is the first argument or, without one, the current folder (see make_streams.sh).
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Vexmora/Vexmora.h"

namespace {

constexpr std::size_t kBufferSize = 16 * 1024 * 1024;
constexpr std::size_t kHugePage = 2 * 1024 * 1024;

// The kind of buffer that the library itself reads into: on huge pages, if the system has them.
class Buffer {
  public:
    Buffer() : mBytes(static_cast<std::uint8_t*>(std::aligned_alloc(kHugePage, kBufferSize))) {
        if (mBytes == nullptr) throw std::bad_alloc();
        static_cast<void>(madvise(mBytes, kBufferSize, MADV_HUGEPAGE));
    }
    ~Buffer() { std::free(mBytes); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    std::uint8_t* Data() { return mBytes; }

  private:
    std::uint8_t* mBytes;
};

struct FileCloser {
    void operator()(std::FILE* inFile) const { std::fclose(inFile); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File Open(const std::string& inPath) {
    File file(std::fopen(inPath.c_str(), "rb"));
    if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

// Hands the file to inUse, buffer by buffer. Returns its size.
template <typename Use>
std::uint64_t ReadThrough(const std::string& inPath, Buffer& ioBuffer, Use&& inUse) {
    const File file = Open(inPath);
    std::uint64_t position = 0;
    while (const std::size_t got = std::fread(ioBuffer.Data(), 1, kBufferSize, file.get())) {
        inUse(ioBuffer.Data(), got, position);
        position += got;
    }
    return position;
}

std::uint64_t ReadOnly(const std::string& inPath, Buffer& ioBuffer) {
    return ReadThrough(inPath, ioBuffer, [](const std::uint8_t* inBytes, std::size_t, std::uint64_t) {
        benchmark::DoNotOptimize(*inBytes);
    });
}

// Returns the number of records; 0 when the stream could not be indexed.
std::size_t ReadAndIndex(const std::string& inPath, Buffer& ioBuffer) {
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

template <typename Work>
double Seconds(Work&& inWork) {
    const auto begin = std::chrono::steady_clock::now();
    inWork();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// One round reads the file alone and then reads and indexes it; the rates and their ratio are over all
// rounds.
void IndexWhileReading(benchmark::State& ioState, const std::string& inPath) {
    if (!Open(inPath)) {
        ioState.SkipWithError(("no " + inPath + ": run make_streams.sh first").c_str());
        return;
    }
    Buffer buffer;
    const std::uint64_t size = ReadOnly(inPath, buffer);
    double readSeconds = 0;
    double indexSeconds = 0;
    std::size_t records = 0;
    for (auto _ : ioState) {
        readSeconds += Seconds([&] { static_cast<void>(ReadOnly(inPath, buffer)); });
        const double round = Seconds([&] { records = ReadAndIndex(inPath, buffer); });
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
