// Arbitrary bytes as an elementary stream that the host takes apart: the same coded frames for every cut, an
// index that is sound, tables that come back, and pictures out of bytes that changed after the scan.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "GuardedPicture.h"
#include "VexmoraHost/Host.h"
#include "sources/SourceMedia.h"
#include "sources/SourceTables.h"
#include "sources/VideoScanner.h"

namespace Vexmora::Test {
namespace {

using namespace VexmoraHost;

constexpr std::size_t kMostRecords = 12;

class MemoryReader : public VideoReader {
  public:
    MemoryReader(const Bytes& inVideo, std::size_t inBlock) : mVideo(inVideo), mBlock(inBlock) {}
    void Seek(std::uint64_t inPosition) override { mAt = inPosition; }
    bool Next(VideoPiece& outPiece) override {
        const std::size_t size = std::min(mVideo.size() - mAt, mBlock - mAt % mBlock);
        outPiece = {.position = mAt, .bytes = std::span(mVideo).subspan(mAt, size)};
        mAt += size;
        return size > 0;
    }

  private:
    const Bytes& mVideo;
    const std::size_t mBlock;
    std::size_t mAt = 0;
};

CodedVideo Scan(const Bytes& inVideo, std::size_t inBlock) {
    VideoScanner scanner;
    MemoryReader reader(inVideo, inBlock);
    VideoPiece piece;
    while (reader.Next(piece)) scanner.Add(piece);
    return scanner.Finish();
}

CodedVideo WithPlainPositions(CodedVideo inVideo) {
    for (CodedFrame& frame : inVideo.frames) frame.position += std::exchange(frame.skip, 0);
    return inVideo;
}

void DecodeAll(const SourceMedia& inMedia, std::size_t inRecords, const DecodeModes& inModes) {
    const auto reader = inMedia.OpenReader();
    for (std::size_t i = 0; i < std::min(inRecords, kMostRecords); ++i) {
        const auto record = static_cast<std::int32_t>(i);
        const PictureFormat& format = inMedia.Formats()[inMedia.FormatOf(record)];
        if (GuardedPicture::IsTooLarge(format.least.luma)) continue;
        std::array<std::vector<std::uint8_t>, 9> planes;
        for (std::size_t plane = 0; plane < planes.size(); ++plane) {
            planes[plane].resize(plane % 3 == 0 ? format.least.luma : format.least.chroma);
        }
        const auto at = [&](std::size_t in) {
            return FramePlanes{{planes[in].data(), planes[in + 1].data(), planes[in + 2].data()}};
        };
        static_cast<void>(reader->Decode(record, {at(0), at(3)}, at(6), inModes));
        static_cast<void>(inMedia.PastOfIntra(record));
    }
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    const VexmoraHost::Library library;
    const std::size_t block = 1 + ioChoices.Below(200);
    const DecodeModes modes = ModesOf(static_cast<VexmoraHost::Scale>(ioChoices.Below(3)));
    const std::size_t changeAt = ioChoices.Word();
    Bytes bytes = ioChoices.Rest();
    const SourceTables tables{.packaging = {}, .chosen = {}, .account = {}, .video = Scan(bytes, block)};
    const CodedVideo& video = tables.video;
    EXPECT_TRUE(WithPlainPositions(video) == WithPlainPositions(Scan(bytes, bytes.size() + 1)));
    if (const auto again = TablesFrom(ToBytes(tables))) EXPECT_TRUE(again->video == video);
    const SourceIndex index =
        MakeSourceIndex(video, VexmoraHost::Packaging::Kind::Elementary, bytes.size(), {});
    const auto& records = index.index.records;
    if (!records.empty()) EXPECT_TRUE(IsSound(index.index.header, records, {}));
    MakeSourceIndex(video, VexmoraHost::Packaging::Kind::Transport, bytes.size(), {});

    const SourceMedia media([&] { return std::make_unique<MemoryReader>(bytes, block); }, video, index);
    DecodeAll(media, records.size(), modes);
    if (changeAt < bytes.size()) bytes[changeAt] ^= 0xFF;
    DecodeAll(media, records.size(), modes);
}

}  // namespace Vexmora::Test
