// Scan, check, keep.
#include "opening/ScannedRecording.h"

#include <algorithm>
#include <span>
#include <utility>

#include "VexmoraHost/Error.h"
#include "opening/OpenedMedia.h"
#include "sources/VideoScanner.h"

namespace VexmoraHost {
namespace {

constexpr std::uint64_t kProgressBytes = std::uint64_t{16} << 20;
constexpr unsigned kChroma420 = 1;

CodedVideo ScanVideo(const Recording& inRecording, const JoinedFiles& inFiles, SourceTables& ioTables,
                     const Progress& inProgress) {
    std::uint64_t next = 0;
    const JoinedFiles files = inFiles.Watched([&](std::uint64_t inPosition) {
        if (inPosition < next) return;
        TellProgress(inProgress, inRecording.Path(), inPosition, inFiles.Size());
        next = inPosition + kProgressBytes;
    });
    files.ExpectSequentialReads();
    const auto reader = MakeScanningReader(files, ioTables.packaging, ioTables.chosen, ioTables.account);
    VideoScanner scanner;
    for (VideoPiece piece; reader->Next(piece);) scanner.Add(piece);
    return scanner.Finish();
}

[[noreturn]] void ThrowUnusable(const Recording& inRecording, const CodedVideo& inVideo) {
    if (inVideo.parameters.empty()) {
        throw Error(Vexmora_NoSequenceHeader, inRecording.Path(), "holds no MPEG-2 sequence header",
                    "check that its video is MPEG-2, and not scrambled");
    }
    if (inVideo.frames.empty()) {
        throw Error(Vexmora_Unsupported, inRecording.Path(), "holds no picture",
                    "copy or record it again: it is damaged or cut off");
    }
    throw Error(Vexmora_Unsupported, inRecording.Path(),
                "holds MPEG-2 video that cannot be indexed: it is damaged", "cut the bad part out");
}

// As long as some pictures can be decoded, the others are damage.
void CheckDecodable(const Recording& inRecording, const CodedVideo& inVideo) {
    const auto isDecodable = [](const SequenceParameterSet& in) { return in.chromaFormat == kChroma420; };
    if (std::ranges::any_of(inVideo.parameters, isDecodable)) return;
    if (inVideo.frames.empty()) ThrowUnusable(inRecording, inVideo);
    if (inVideo.parameters.front().chromaFormat == 0) {
        throw Error(Vexmora_Unsupported, inRecording.Path(), "holds MPEG-1 video, which is not supported",
                    "convert it to MPEG-2");
    }
    throw Error(Vexmora_Unsupported, inRecording.Path(),
                "holds video with 4:2:2 or 4:4:4 colour, which is not supported", "convert it to 4:2:0");
}

void MakeIndex(Recording& ioRecording, ScannedRecording& ioScan) {
    const SourceTables& tables = ioScan.tables;
    ioScan.index =
        MakeSourceIndex(tables.video, tables.packaging.kind, ioScan.files->Size(), ioRecording.Identity());
}

bool IsFailed(const ScannedRecording& inScan) {
    return inScan.index.index.header.streamKind == Vexmora::kStreamKindFailed;
}

}  // namespace

std::shared_ptr<const ScannedRecording> FindScan(const IndexStore& inStore, Recording& ioRecording) {
    const auto known = inStore.FindTables(ioRecording.Key(), [&] { return ioRecording.Identity(); });
    if (!known) return nullptr;
    auto tables = TablesFrom(known->bytes);
    if (!tables) return nullptr;
    const auto scan = std::make_shared<ScannedRecording>();
    scan->files = ioRecording.Files();
    scan->tables = std::move(*tables);
    scan->path = known->path;
    MakeIndex(ioRecording, *scan);
    return IsFailed(*scan) ? nullptr : scan;
}

std::shared_ptr<const ScannedRecording> Scan(const IndexStore& inStore, Recording& ioRecording,
                                             const Progress& inProgress) {
    Posix::DraftFile draft = inStore.MakeDraft();
    static_cast<void>(ioRecording.Identity());  // as it is before it is read
    const auto scan = std::make_shared<ScannedRecording>();
    scan->files = ioRecording.Files();
    scan->wasScanned = true;
    SourceTables& tables = scan->tables;
    tables.packaging = FindPackaging(*scan->files);
    tables.chosen = ChooseVideo(tables.packaging, ioRecording.Choice(), ioRecording.Path());
    tables.video = ScanVideo(ioRecording, *scan->files, tables, inProgress);
    ioRecording.ConfirmContent();
    CheckDecodable(ioRecording, tables.video);
    MakeIndex(ioRecording, *scan);
    if (IsFailed(*scan)) ThrowUnusable(ioRecording, tables.video);
    scan->path = inStore.PublishTables(draft, ToBytes(tables), ioRecording.Key(), ioRecording.Identity());
    if (inProgress) static_cast<void>(inProgress(scan->files->Size(), scan->files->Size()));
    return scan;
}

}  // namespace VexmoraHost
