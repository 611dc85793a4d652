// The pictures of a scan.
#include "opening/SourceOpening.h"

#include <algorithm>
#include <utility>

#include "VexmoraHost/Error.h"
#include "memory/HostServices.h"
#include "sources/SourceMedia.h"

namespace VexmoraHost {
namespace {

// Of the first usable picture: those of damaged headers before it are no measure.
std::int32_t FirstPicture(const OpenedMedia& inOpened) {
    const MovieInfo& info = inOpened.info;
    for (std::uint32_t frame = 0; frame < info.frameCount; ++frame) {
        const std::size_t record = info.firstFrame + frame;
        if (record < inOpened.records.size() && IsValid(inOpened.records[record])) {
            return static_cast<std::int32_t>(record);
        }
    }
    return 0;
}

// As in any index: of the packet in which the picture begins, or of its start code where there are none.
void PlaceRecords(const ScannedRecording& inScan, std::vector<Vexmora::FrameRecord>& ioRecords) {
    if (inScan.tables.packaging.kind == Packaging::Kind::Elementary) return;
    for (std::size_t record = 0; record < ioRecords.size(); ++record) {
        const std::uint32_t frame = inScan.index.frames[record];
        if (frame != kNoCodedFrame) ioRecords[record].offset = inScan.tables.video.frames[frame].position;
    }
}

// Pictures that nobody decodes are none: others stand in for them.
void EmptyUndecodable(const SourceMedia& inMedia, std::vector<Vexmora::FrameRecord>& ioRecords) {
    for (std::size_t record = 0; record < ioRecords.size(); ++record) {
        const std::size_t format = inMedia.FormatOf(static_cast<std::int32_t>(record));
        if (inMedia.Formats()[format].info.width == 0) ioRecords[record].size = 0;
    }
}

void DescribePictures(const SourceMedia& inMedia, OpenedMedia& ioOpened) {
    const std::int32_t first = FirstPicture(ioOpened);
    MovieInfo& info = ioOpened.info;
    info.file = inMedia.InfoOf(first);
    info.file.frameCount = info.frameCount;
    info.file.effectiveFrameRate = info.index.effectiveFrameRate;
    if (!ioOpened.records.empty()) {
        const Vexmora::FrameRecord& record = ioOpened.records[static_cast<std::size_t>(first)];
        info.file.progressive = (record.flags & Vexmora::kProgressiveFrameBit) != 0 ? 1 : 0;
    }
}

}  // namespace

std::unique_ptr<OpenedMedia> OpenScan(const std::shared_ptr<const ScannedRecording>& inScan) {
    auto opened = std::make_unique<OpenedMedia>();
    opened->scan = inScan;
    opened->indexPath = inScan->path;
    opened->wasIndexed = inScan->wasScanned;
    opened->records = inScan->index.index.records;
    PlaceRecords(*inScan, opened->records);
    opened->cacheId = CacheIdFor(inScan->index.index.header.identity);
    Describe(inScan->index.index.header, opened->info);
    const ScannedRecording& scan = *inScan;
    auto media = std::make_unique<SourceMedia>(
        [&scan] { return MakeRandomReader(*scan.files, scan.tables.packaging, scan.tables.account); },
        scan.tables.video, scan.index);
    EmptyUndecodable(*media, opened->records);
    if (std::ranges::none_of(opened->records, [](const auto& in) { return IsValid(in); })) {
        throw Error(Vexmora_Unsupported, scan.files->Files().front().Path(),
                    "holds no picture that can be decoded: its sequence headers are damaged",
                    "cut the bad part out, or copy or record it again");
    }
    DescribePictures(*media, *opened);
    opened->reader = media->OpenReader();
    opened->media = std::move(media);
    if (opened->reader == nullptr) {
        throw Error(Vexmora_Failure, scan.files->Files().front().Path(), "cannot be read",
                    "check that it exists and may be read");
    }
    return opened;
}

}  // namespace VexmoraHost
