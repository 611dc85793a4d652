// Load the index, or build it and load it then.
#include "opening/PlainOpening.h"

#include <utility>

#include "Vexmora/PathText.h"
#include "frames/PlainFile.h"
#include "index/IndexBuilder.h"
#include "memory/HostServices.h"
#include "opening/ChangeWatch.h"

namespace VexmoraHost {
namespace {

bool IsFailed(const StoredIndex& inIndex) {
    return inIndex.header.streamKind == Vexmora::kStreamKindFailed;
}

struct Explanation {
    const char* problem;
    const char* advice;
};

Explanation Explain(Vexmora_Status inStatus) {
    switch (inStatus) {
        case Vexmora_Unsupported:
            return {"cannot be indexed as MPEG-2 video",
                    "an earlier attempt is remembered; force indexing to try once more"};
        case Vexmora_NoSequenceHeader:
            return {"holds no MPEG-2 sequence header",
                    "MPEG-1 video and files without video are not supported"};
        default:
            return {"cannot be opened or read", "check that it exists and may be read"};
    }
}

struct OpenResult {
    Vexmora_Status status;
    OwnHandle handle;
};

OpenResult OpenWith(MediaFile& ioMedia, const Vexmora::IndexHeader& inHeader,
                    const std::vector<Vexmora::FrameRecord>& inRecords) {
    Vexmora_Handle handle = nullptr;
    const Vexmora_Status status =
        Vexmora_OpenFileWithIndex(Vexmora::ToUtf16Path(ioMedia.Path().native()),
                                  Services(CacheIdFor(ioMedia.Identity())), inHeader, inRecords, &handle);
    return {status, OwnHandle(handle)};
}

}  // namespace

PlainOpening::PlainOpening(std::filesystem::path inPath, const OpenOptions& inOptions,
                           const IndexStore& inStore)
    : mOptions(inOptions), mStore(inStore), mMedia(std::move(inPath)) {}

std::unique_ptr<OpenedMedia> PlainOpening::OpenKnown() {
    auto known = mStore.Find(mMedia);
    if (!known) return nullptr;
    if (IsFailed(known->index)) ThrowFor(Vexmora_Unsupported);
    auto opened = Use(std::move(known->index), false);
    opened->indexPath = std::move(known->path);
    return opened;
}

std::unique_ptr<OpenedMedia> PlainOpening::Build() {
    Posix::DraftFile draft = mStore.MakeDraft();
    auto index = ReadIndex();
    if (!index || IsFailed(*index)) return nullptr;
    auto opened = Use(std::move(*index), true);
    opened->indexPath =
        mStore.Publish(draft, opened->info.index, opened->records, mMedia.Path(), mMedia.SettledFacts());
    return opened;
}

void PlainOpening::RememberFailure() {
    Posix::DraftFile draft = mStore.MakeDraft();
    Vexmora::IndexHeader header{};
    header.version = Vexmora::kIndexVersion;
    header.streamKind = Vexmora::kStreamKindFailed;
    header.identity = mMedia.Identity();
    header.streamLength = mMedia.Bytes();
    mStore.Publish(draft, header, {}, mMedia.Path(), mMedia.SettledFacts());
}

std::optional<StoredIndex> PlainOpening::ReadIndex() {
    ChangeWatch watch;
    IndexBuilder builder(mMedia.Content(),
                         [&watch](std::span<const std::uint8_t> inPiece) { watch.Look(inPiece); });
    if (!builder.CanIndex()) return std::nullopt;
    const Guid identity = mMedia.Identity();
    const std::uint64_t total = mMedia.Bytes();
    do {
        TellProgress(mOptions.progress, mMedia.Path(), builder.BytesDone(), total);
        builder.Advance();
        const bool isFirst = builder.BytesDone() == IndexBuilder::kStepBytes && !builder.IsAtEnd();
        if (watch.HasSeenChange() || (isFirst && !IsSupported())) return std::nullopt;
    } while (!builder.IsAtEnd());
    StoredIndex index = builder.Finish(identity);
    mMedia.ConfirmContent();
    if (IsFailed(index) || !IsSupported()) return std::nullopt;
    if (mOptions.progress) static_cast<void>(mOptions.progress(total, total));
    return index;
}

// Whether the library takes the media shows when it is opened with any index: better now than after hours.
bool PlainOpening::IsSupported() {
    Vexmora::IndexHeader header{};
    header.recordCount = 1;
    const Vexmora_Status status = OpenWith(mMedia, header, std::vector<Vexmora::FrameRecord>(1)).status;
    if (status != Vexmora_Ok && status != Vexmora_Unsupported && status != Vexmora_NoSequenceHeader)
        ThrowFor(status);
    return status == Vexmora_Ok;
}

std::unique_ptr<OpenedMedia> PlainOpening::Use(StoredIndex inIndex, bool inWasIndexed) {
    auto opened = std::make_unique<OpenedMedia>();
    auto [status, handle] = OpenWith(mMedia, inIndex.header, inIndex.records);
    if (status != Vexmora_Ok) ThrowFor(status);
    mMedia.ConfirmPath();
    opened->wasIndexed = inWasIndexed;
    opened->cacheId = CacheIdFor(mMedia.Identity());
    status = Vexmora_GetFileInfo(handle.get(), &opened->info.file);
    if (status != Vexmora_Ok) ThrowFor(status);
    Describe(inIndex.header, opened->info);
    opened->records = std::move(inIndex.records);
    opened->media = std::make_unique<PlainFile>(mMedia.Path(), mMedia.SettledFacts(), opened->info.index,
                                                opened->records, opened->cacheId, FormatOf(handle.get()));
    opened->reader = ReaderOf(std::move(handle));
    return opened;
}

void PlainOpening::ThrowFor(Vexmora_Status inStatus) {
    if (inStatus == Vexmora_Failure) {  // these know more than the status
        static_cast<void>(Posix::InputFile(mMedia.Path()));
        mMedia.ConfirmPath();
    }
    const Explanation why = Explain(inStatus);
    throw Error(inStatus, mMedia.Path(), why.problem, why.advice);
}

}  // namespace VexmoraHost
