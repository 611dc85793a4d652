// Index files of arbitrary bytes beside a sound recording: they are refused, or what they say about frames
// holds together, and their frames can be asked for.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "IndexSense.h"
#include "Support/TestFiles.h"
#include "VisitedFrames.h"

namespace Vexmora::Test {
namespace {

constexpr std::int32_t kMostFrames = 12;

// One recording of each kind.
class Media {
  public:
    Media() {
        const Bytes video = Join({SequenceHeader(), SequenceExtension(), GopHeader(),
                                  Picture(2, kPictureTypeI), Picture(0, kPictureTypeB),
                                  Picture(1, kPictureTypeB), Picture(3, kPictureTypeP), SequenceEnd()});
        WriteAll(Path(0), video);
        WriteAll(Path(1), Join({PackHeader(), ProgramStream(video, {}).bytes}));
        const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
        WriteAll(Path(2), Join({tables, TransportStream(video, {}).bytes}));
    }
    std::filesystem::path Path(std::size_t inKind) const {
        return mFolder / ("media" + std::to_string(inKind));
    }
    std::filesystem::path Folder() const { return mFolder.Path(); }
    /// Where the library looks for the index file of a recording that is not known.
    std::filesystem::path IndexPath(std::size_t inKind) const { return Path(inKind).string() + ".mpgindex"; }

    static constexpr std::size_t kKinds = 3;

  private:
    const TemporaryFolder mFolder;
};

// What an index file must say to be looked at.
void Believe(Bytes& ioFile) {
    IndexHeader header{};
    if (ioFile.size() < sizeof header) return;
    std::memcpy(&header, ioFile.data(), sizeof header);
    header.identity = *Pavlin::utility::Guid::FromText("00112233-4455-6677-8899-aabbccddeeff");  // TestHost's
    header.version = kIndexVersion;
    std::memcpy(ioFile.data(), &header, sizeof header);
}

void ExpectSense(Vexmora_Handle inHandle, const IndexHeader& inHeader, const Bytes& inFile) {
    const auto held = static_cast<std::int32_t>((inFile.size() - sizeof inHeader) / sizeof(FrameRecord));
    const auto count = static_cast<std::int32_t>(inHeader.recordCount);
    std::uint32_t first = 0;
    EXPECT_EQ(Vexmora_GetVideoFrameOffset(inHandle, &first), Vexmora_Ok);
    EXPECT_EQ(first, std::uint32_t{inHeader.firstFrame});
    for (std::int32_t frame = -1; frame <= std::min(held, count); ++frame) {
        std::int32_t past = 0;
        std::int32_t future = 0;
        const Vexmora_Status status = Vexmora_GetFrameDependancies(inHandle, frame, &past, &future);
        const bool isValid = Vexmora_IsFrameValid(inHandle, frame) != 0;
        const std::int32_t good = Vexmora_GetLastGoodFrame(inHandle, frame);
        EXPECT_TRUE(isValid || status != Vexmora_Ok);
        EXPECT_TRUE(isValid ? good == frame : good == 0 || Vexmora_IsFrameValid(inHandle, good) != 0);
        EXPECT_FALSE(isValid && (frame < 0 || frame >= std::min(held, count)));
        if (status != Vexmora_Ok) continue;
        for (const std::int32_t reference : {past, future}) {
            EXPECT_GE(reference, 0);
            EXPECT_TRUE(reference < count || reference == kNoReference);
        }
    }
}

// The same index as a host hands it over by itself: all that the file holds.
void ExpectSameWithoutFile(const UTF16String& inMedia, const HostServices& inServices, const Bytes& inFile,
                           Scale inScale, const std::vector<VisitedFrames::Outcome>& inExpected) {
    const IndexFileContent index(inFile);
    Vexmora_Handle handle = nullptr;
    const Vexmora_Status status =
        Vexmora_OpenFileWithIndex(inMedia, inServices, index.header, index.records, &handle);
    if (index.records.size() < index.header.recordCount) {
        EXPECT_EQ(status, Vexmora_Unsupported);
    } else {
        EXPECT_EQ(status, Vexmora_Ok);
        EXPECT_TRUE(VisitedFrames(handle, inScale, Edge::Begin).Visit(kMostFrames) == inExpected);
    }
    Vexmora_CloseFile(handle);
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    static const Media media;
    const std::uint8_t flags = ioChoices.Byte();
    const std::size_t kind = ioChoices.Below(Media::kKinds);
    const Scale scale = kScales[(flags & 1) != 0 ? 1 + flags / 4 % 2 : 0];
    Bytes file = ioChoices.Rest();
    if ((flags & 2) == 0) Believe(file);
    WriteAll(media.IndexPath(kind), file);

    TestHost host(media.Folder());
    Vexmora_Handle handle = nullptr;
    IndexHeader header{};
    const Vexmora_Status status =
        Vexmora_OpenFile(ToUtf16(media.Path(kind)), host.Services(), &handle, &header, false);
    if (status == Vexmora_Ok) {
        ExpectSense(handle, header, file);
        const auto frames = VisitedFrames(handle, scale, Edge::End).Visit(kMostFrames);
        ExpectSameWithoutFile(ToUtf16(media.Path(kind)), host.Services(), file, scale, frames);
    } else {
        EXPECT_TRUE(status == Vexmora_NotFinished || status == Vexmora_Unsupported);
    }
    Vexmora_CloseFile(handle);
    EXPECT_EQ(host.LiveBlocks(), 0);
}

}  // namespace Vexmora::Test
