// Writes the inputs that fuzzing begins with, a folder for each target: STREAMS OUT. They are the beginnings
// of real encoders' streams in STREAMS, streams of random macroblocks and streams composed by the stream
// builder.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Support/TestHost.h"
#include "Syntax/RandomStream.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestSeed = 8 * 1024;
// Of pictures that are to be decoded: larger ones take too long.
constexpr int kMostSamples = 176 * 160;

struct Seed {
    std::string name;
    Bytes bytes;
};
using Seeds = std::vector<Seed>;

// Small pictures of every tool.
Seeds RandomStreams() {
    using Structure = StreamPlan::Structure;
    Seeds seeds;
    for (const Structure structure : {Structure::Frames, Structure::TopFirst, Structure::BottomFirst}) {
        for (unsigned number = 0; number < 4; ++number) {
            StreamPlan plan;
            plan.width = number == 3 ? 304 : 48;
            plan.height = 32;
            plan.structure = structure;
            plan.hasDualPrime = number == 1;
            plan.types = plan.hasDualPrime ? "IPP" : "IPBB";
            plan.saturates = number == 2;
            plan.isSparse = number == 3;
            plan.loadsIntra = plan.loadsNonIntra = number % 2 == 0;
            Features features;
            const unsigned name = static_cast<unsigned>(structure) * 4 + number;
            seeds.push_back({"random" + std::to_string(name), MakeRandomStream(plan, name, features).All()});
        }
    }
    return seeds;
}

Seeds ComposedStreams() {
    const PictureFlags pulldown{.repeat_first_field = true, .progressive_frame = true};
    const Bytes video =
        Join({SequenceHeader(), SequenceExtension(), SequenceDisplayExtension(64, 48, 1, {{1, 2, 3}}),
              GopHeader(false), Picture(2, kPictureTypeI, 71), Picture(0, kPictureTypeB, 1),
              Picture(1, kPictureTypeB, 9, pulldown), Picture(3, kPictureTypeP, 30), SequenceEnd()});
    const auto stamp = [](std::size_t inNumber) { return 90000 + 3600 * inNumber; };
    const auto sound = [](std::size_t inNumber) {
        return PesPacket(0xC0, Slice(20), 90000 + 900 * inNumber);
    };
    const auto between = [&](std::size_t inNumber) {
        return Join({inNumber == 0 ? PackHeader(3) : PaddingPacket(9), sound(inNumber)});
    };
    const auto tables = [&](std::size_t inNumber) {
        const Bytes all = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}, {4, kAudioPid}})});
        return inNumber == 0 ? all : TransportPacket(kAudioPid, true, sound(inNumber));
    };
    const std::vector<std::size_t> sizes{100, 5, 60, 2, 2, 33};
    return {{"elementary", video},
            {"program", ProgramStream(video, {sizes, between, stamp, 2}).bytes},
            {"transport", TransportStream(video, {sizes, tables, stamp, 2}).bytes}};
}

Seeds RealStreams(const fs::path& inFolder) {
    Seeds seeds;
    for (const auto& entry : fs::recursive_directory_iterator(inFolder)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".m2v" && extension != ".mpg" && extension != ".vob" && extension != ".ts") continue;
        Bytes bytes = ReadAll(entry.path());
        if (bytes.size() > kLargestSeed) bytes.resize(kLargestSeed);
        seeds.push_back({entry.path().filename().string(), std::move(bytes)});
    }
    return seeds;
}

Bytes IndexFileOf(const IndexResult& inIndex) {
    Bytes file(sizeof inIndex.header + inIndex.records.size() * sizeof(FrameRecord));
    std::memcpy(file.data(), &inIndex.header, sizeof inIndex.header);
    if (!inIndex.records.empty())
        std::memcpy(file.data() + sizeof inIndex.header, inIndex.records.data(),
                    file.size() - sizeof inIndex.header);
    return file;
}

// The bytes before those of the seed are the choices that the target takes from its input.
void WriteSeed(const fs::path& inFolder, const std::string& inName, const Bytes& inChoices,
               const Bytes& inBytes) {
    fs::create_directories(inFolder);
    WriteAll(inFolder / inName, Join({inChoices, inBytes}));
}

void WriteSeeds(const Seeds& inSeeds, const fs::path& inFolder) {
    std::uint8_t number = 0;
    for (const auto& [name, bytes] : inSeeds) {
        ++number;
        const std::uint8_t scale = number % 3;
        WriteSeed(inFolder / "indexers", name, {0, number, 0, number, 1, 2}, bytes);
        WriteSeed(inFolder / "sources", name, {number, number}, bytes);
        WriteSeed(inFolder / "splitters", name, {number, 255, number, 2, 0, 0, 0, 0, 1, number}, bytes);
        if (bytes[0] == 0 && bytes[3] == 0xB3)
            WriteSeed(inFolder / "headers", name, {0, 0},
                      {bytes.begin(), bytes.begin() + std::min<std::ptrdiff_t>(600, std::ssize(bytes))});
        const IndexResult index = Index(bytes);
        WriteSeed(inFolder / "index_file", name, {0, scale}, IndexFileOf(index));
        if (index.header.width * index.header.height > kMostSamples) continue;
        WriteSeed(inFolder / "chain", name, {number, scale, 0}, bytes);
        const bool isElementary = bytes[0] == 0 && bytes[3] == 0xB3;
        WriteSeed(inFolder / "movie", name, {scale, number}, bytes);
        if (!isElementary) continue;
        WriteSeed(inFolder / "decode", name, {number, scale, 0}, bytes);
        WriteSeed(inFolder / "coded_video", name, {number, scale, 0, number}, bytes);
    }
}

}  // namespace
}  // namespace Vexmora::Test

int main(int inCount, char** inArguments) {
    using namespace Vexmora::Test;
    if (inCount != 3) return 2;
    for (const Seeds& seeds : {RandomStreams(), ComposedStreams(), RealStreams(inArguments[1])})
        WriteSeeds(seeds, inArguments[2]);
    return 0;
}
