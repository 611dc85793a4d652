// From video bytes to an index and to decoded pictures, held against the library's own way to both.
#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "Support/StreamBuilder.h"
#include "Support/TestFiles.h"
#include "sources/SourceIndex.h"
#include "sources/VideoScanner.h"

namespace VexmoraHost {
namespace {

using namespace Vexmora::Test;
using Vexmora::FrameRecord;

CodedVideo Scan(const Bytes& inVideo, const std::vector<std::size_t>& inCuts = {}) {
    VideoScanner scanner;
    std::size_t begin = 0;
    const auto add = [&](std::size_t inEnd) {
        const Bytes piece(inVideo.begin() + static_cast<std::ptrdiff_t>(begin),
                          inVideo.begin() + static_cast<std::ptrdiff_t>(inEnd));
        if (!piece.empty()) scanner.Add({.position = begin, .bytes = piece});
        begin = inEnd;
    };
    for (const std::size_t cut : inCuts) add(cut);
    add(inVideo.size());
    return scanner.Finish();
}

// A picture start code is at position + skip, whatever the cuts.
CodedVideo WithPlainPositions(CodedVideo inVideo) {
    for (CodedFrame& frame : inVideo.frames) frame.position += std::exchange(frame.skip, 0);
    return inVideo;
}

std::vector<std::filesystem::path> Streams(const std::string& inExtension) {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(VEXMORA_STREAM_DIR)) {
        if (entry.path().extension() == inExtension) found.push_back(entry.path());
    }
    return found;
}

TEST(ElementaryStreams, HaveTheIndexOfTheLibrary) {
    int compared = 0;
    for (const auto& path : Streams(".m2v")) {
        const Bytes stream = ReadAll(path);
        IndexResult expected = Index(stream);
        const CodedVideo video = Scan(stream);
        if (expected.done != Vexmora_Ok) continue;  // MPEG-1 video, field pictures
        ++compared;
        auto made = MakeSourceIndex(video, Packaging::Kind::Elementary, stream.size(), {});
        ASSERT_EQ(made.index.records.size(), expected.records.size()) << path;
        for (std::size_t i = 0; i < expected.records.size(); ++i) {
            made.index.records[i].size = expected.records[i].size;
            EXPECT_EQ(made.index.records[i], expected.records[i]) << path << i;
        }
        made.index.header.maxPictureSize = expected.header.maxPictureSize;
        EXPECT_EQ(made.index.header, expected.header) << path;
        for (const auto& cuts : {FixedCuts(stream.size(), 184), RandomCuts(stream.size(), 1, 9, 1)}) {
            EXPECT_EQ(WithPlainPositions(Scan(stream, cuts)), WithPlainPositions(video)) << path;
        }
    }
    EXPECT_GT(compared, 20);
}

}  // namespace
}  // namespace VexmoraHost
