// From a file of arbitrary bytes to its frames, as a host goes: it is opened, indexed, opened again and
// decoded. The index makes sense, and pictures and statuses do not depend on processors and variants.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "IndexSense.h"
#include "Support/TestFiles.h"
#include "VisitedFrames.h"

namespace Vexmora::Test {
namespace {

namespace fs = std::filesystem;

struct Setup {
    fs::path media;
    fs::path folder;
    Scale scale;
    Edge edge;
};

struct Outcome {
    std::vector<Vexmora_Status> statuses;
    IndexHeader header{};
    std::vector<VisitedFrames::Outcome> frames;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

void ExpectSense(Vexmora_Handle inHandle, const fs::path& inIndexFile) {
    const IndexFileContent index(ReadAll(inIndexFile));
    EXPECT_EQ(fs::file_size(inIndexFile), sizeof index.header + index.records.size() * sizeof(FrameRecord));
    Test::ExpectSense(index.header, index.records);
    FileInfo info;
    EXPECT_EQ(Vexmora_GetFileInfo(inHandle, &info), Vexmora_Ok);
    EXPECT_EQ(info.frameCount, index.header.lastFrame - index.header.firstFrame + 1);
}

Outcome OpenAndDecode(const Setup& inSetup, const Way& inWay) {
    constexpr std::int32_t kMostFrames = 8;
    const WorkingIn way(inWay);
    TestHost host(inSetup.folder);
    Outcome outcome;
    const auto open = [&](Vexmora_Handle& outHandle) {
        outcome.statuses.push_back(
            Vexmora_OpenFile(ToUtf16(inSetup.media), host.Services(), &outHandle, &outcome.header, false));
        return outcome.statuses.back();
    };
    Vexmora_Handle handle = nullptr;
    if (open(handle) == Vexmora_NotFinished) {
        float progress = 0;
        Vexmora_Status status = Vexmora_NotFinished;
        while (status == Vexmora_NotFinished) status = Vexmora_IndexFile(handle, &progress, false);
        outcome.statuses.push_back(status);
        Vexmora_CloseFile(std::exchange(handle, nullptr));
        if (open(handle) == Vexmora_Ok) {
            ExpectSense(handle, host.Known());
            outcome.frames = VisitedFrames(handle, inSetup.scale, inSetup.edge).Visit(kMostFrames);
        }
        std::error_code ignored;
        fs::remove(host.Known(), ignored);
    }
    Vexmora_CloseFile(handle);
    EXPECT_EQ(host.LiveBlocks(), 0);
    return outcome;
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    static const TemporaryFolder folder;
    const Way way = WayOf(ioChoices.Below(kWays));
    const Scale scale = kScales[ioChoices.Below(kScales.size())];
    const Edge edge = ioChoices.Below(2) == 0 ? Edge::End : Edge::Begin;
    const Setup setup{folder / "media", folder.Path(), scale, edge};
    WriteAll(setup.media, ioChoices.Rest());
    const Outcome outcome = OpenAndDecode(setup, {});
    EXPECT_TRUE(OpenAndDecode(setup, way) == outcome);
}

}  // namespace Vexmora::Test
