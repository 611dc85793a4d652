// How long it takes to open a file whose index of 200 000 records is known, beside reading the index file's
// bytes. The media is made in a folder under the system's temporary one and removed again.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "PlainReading.h"
#include "Vexmora/PathText.h"
#include "VexmoraHost/Movie.h"
#include "index/IndexStore.h"
#include "memory/HostServices.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kPictures = 200'000;
constexpr unsigned kPicturesPerGop = 20;

using Bytes = std::vector<std::uint8_t>;

void Append(Bytes& ioBytes, std::initializer_list<std::uint8_t> inMore) {
    ioBytes.insert(ioBytes.end(), inMore);
}

// An elementary stream of one-slice pictures, I and then P, that can be indexed though not decoded.
Bytes MakeStream() {
    Bytes bytes;
    Append(bytes, {0, 0, 1, 0xB3, 0x16, 0x01, 0x20, 0x13, 0xFF, 0xFF, 0xE0, 0x18});  // 352x288, 25 Hz
    Append(bytes, {0, 0, 1, 0xB5, 0x14, 0x82, 0x00, 0x01, 0x00, 0x00});              // 4:2:0
    for (unsigned picture = 0; picture < kPictures; ++picture) {
        const unsigned temporal_reference = picture % kPicturesPerGop;
        if (temporal_reference == 0) Append(bytes, {0, 0, 1, 0xB8, 0x00, 0x08, 0x00, 0x40});
        const unsigned picture_coding_type = temporal_reference == 0 ? 1 : 2;
        const unsigned header = temporal_reference << 6 | picture_coding_type << 3;
        Append(bytes, {0, 0, 1, 0x00, static_cast<std::uint8_t>(header >> 8),
                       static_cast<std::uint8_t>(header), 0xFF, 0xF8});
        Append(bytes, {0, 0, 1, 0xB5, 0x8F, 0xFF, 0xF3, 0xC0, 0x80});
        Append(bytes, {0, 0, 1, 0x01});
        bytes.insert(bytes.end(), 80, 0x55);
    }
    bytes.insert(bytes.end(), 64, 0);
    return bytes;
}

class Scene {
  public:
    Scene() {
        std::string name = (fs::temp_directory_path() / "vexmora_opening_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        mFolder = name;
        const Bytes stream = MakeStream();
        std::ofstream(Media(), std::ios::binary)
            .write(reinterpret_cast<const char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
        mIndex = VexmoraHost::Movie::Open(Media(), Options()).IndexPath();
    }
    ~Scene() { fs::remove_all(mFolder); }

    fs::path Media() const { return mFolder / "media.m2v"; }
    const fs::path& Index() const { return mIndex; }
    VexmoraHost::OpenOptions Options() const { return {.indexDir = mFolder / "index"}; }

  private:
    fs::path mFolder;
    fs::path mIndex;
};

void ReadIndexFile(const fs::path& inIndex) {
    Bytes bytes(fs::file_size(inIndex));
    std::ifstream file(inIndex, std::ios::binary);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    benchmark::DoNotOptimize(bytes.data());
}

// Rounds of the three kinds in turn: reading the bytes, the library's open with the index of the store, and
// the whole Movie.
void OpenIndexed(benchmark::State& ioState) {
    const Scene scene;
    const VexmoraHost::Library library;
    const VexmoraHost::IndexStore store(scene.Options().indexDir);
    const auto identity = VexmoraHost::IdentifyMedia(scene.Media());
    const UTF16String path = Vexmora::ToUtf16Path(scene.Media().native());
    double readSeconds = 0;
    double openSeconds = 0;
    double movieSeconds = 0;
    for (auto _ : ioState) {
        readSeconds += Seconds([&] { ReadIndexFile(scene.Index()); });
        Vexmora_Handle handle = nullptr;
        Vexmora_Status status = Vexmora_Failure;
        const double round = Seconds([&] {
            const auto found = store.Find(identity);
            if (!found) return;
            status = Vexmora_OpenFileWithIndex(path, VexmoraHost::Services(), found->index.header,
                                               found->index.records, &handle);
        });
        Vexmora_CloseFile(handle);
        if (status != Vexmora_Ok) {
            ioState.SkipWithError("the index was not found");
            return;
        }
        openSeconds += round;
        movieSeconds += Seconds([&] {
            const auto movie = VexmoraHost::Movie::Open(scene.Media(), scene.Options());
            if (movie.WasIndexed() || movie.Records().size() != kPictures)
                ioState.SkipWithError("indexed again");
        });
        ioState.SetIterationTime(round);
    }
    const double rounds = static_cast<double>(ioState.iterations());
    ioState.counters["read_ms"] = readSeconds / rounds * 1e3;
    ioState.counters["open_ms"] = openSeconds / rounds * 1e3;
    ioState.counters["movie_ms"] = movieSeconds / rounds * 1e3;
    ioState.counters["ratio"] = openSeconds / readSeconds;
}

BENCHMARK(OpenIndexed)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);

}  // namespace

BENCHMARK_MAIN();
