// Opening a file: load its index, or build it and load it then. Frames.
#include "VexmoraHost/Movie.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "Vexmora/PathText.h"
#include "frames/FrameDecoder.h"
#include "frames/FrameWorkers.h"
#include "frames/PlainFile.h"
#include "index/IndexBuilder.h"
#include "index/IndexStore.h"
#include "index/MediaFile.h"
#include "memory/HostServices.h"
#include "system/Posix.h"

namespace VexmoraHost {
namespace {

IndexStore StoreFor(const OpenOptions& inOptions) {
    return inOptions.indexDir.empty() ? IndexStore() : IndexStore(inOptions.indexDir);
}

// The media keeps its path when the process changes its folder, and the registry tells files apart by it.
std::filesystem::path AbsolutePath(const std::filesystem::path& inPath) {
    std::error_code error;
    auto path = std::filesystem::absolute(inPath, error);
    if (error || inPath.empty()) {
        throw Error(Vexmora_Failure, inPath, "cannot be opened", "name an existing file");
    }
    return path;
}

StreamKind KindOf(const Vexmora::IndexHeader& inHeader) {
    switch (inHeader.streamKind) {
        case Vexmora::kStreamKindElementary:
            return StreamKind::Elementary;
        case Vexmora::kStreamKindTransport:
            return StreamKind::Transport;
        default:
            return StreamKind::Program;
    }
}

bool IsFailed(const StoredIndex& inIndex) {
    return inIndex.header.streamKind == Vexmora::kStreamKindFailed;
}

struct Explanation {
    const char* problem;
    const char* advice;
};

Explanation Explain(Vexmora_Status inStatus, bool inRemembered) {
    switch (inStatus) {
        case Vexmora_Unsupported:
            if (inRemembered) {
                return {"cannot be indexed as MPEG-2 video",
                        "an earlier attempt is remembered; force indexing to try once more"};
            }
            return {"is not MPEG-2 4:2:0 video in an elementary, program or transport stream",
                    "convert it to one of these"};
        case Vexmora_NoSequenceHeader:
            return {"holds no MPEG-2 sequence header",
                    "MPEG-1 video and files without video are not supported"};
        default:
            return {"cannot be opened or read", "check that it exists and may be read"};
    }
}

}  // namespace

// The open file and what makes pictures of it, wherever the movie is moved.
struct Movie::Insides {
    FrameSource Source(const Movie& inMovie);
    FrameDecoder& DecoderOf(const Movie& inMovie, Scale inScale);

    // What is below refers to them.
    std::vector<Vexmora::FrameRecord> records;
    std::unique_ptr<const CodedMedia> media;
    std::unique_ptr<PictureReader> reader;
    std::uint32_t cacheId = 0;
    // Opening stays immediate: what takes a look at all records waits for the first picture.
    std::optional<MissingAnchors> missingAnchors;
    // One for each scale, once it was asked for.
    std::array<std::unique_ptr<FrameDecoder>, 3> decoders;
};

// The steps of Movie::Open. Of a file that is known the library alone opens the media.
class Movie::Opener {
  public:
    Opener(const std::filesystem::path& inPath, const OpenOptions& inOptions)
        : mOptions(inOptions), mStore(StoreFor(inOptions)), mMedia(AbsolutePath(inPath)) {}

    Movie Open() {
        if (mOptions.blockCacheBytes) ProcessBlockCache().SetBudget(*mOptions.blockCacheBytes);
        if (mOptions.frameCacheBytes) ProcessFrameCache().SetBudget(*mOptions.frameCacheBytes);
        mMovie.mPath = mMedia.Path();
        auto known = mOptions.forceReindex ? std::nullopt : mStore.Find(mMedia);
        if (known) {
            Use(std::move(known->index));
            mMovie.mIndexPath = std::move(known->path);
        } else {
            BuildIndex();
        }
        return std::move(mMovie);
    }

  private:
    // Nothing is kept of media that the library does not take; that it takes it and still finds no index is
    // known only when all of it was read, and remembered.
    void BuildIndex() {
        mMovie.mWasIndexed = true;
        Posix::DraftFile draft = mStore.MakeDraft();
        StoredIndex index = ReadIndex();
        if (IsFailed(index)) {
            CheckSupported();
            mStore.Publish(draft, index.header, {}, mMedia.Path(), mMedia.SettledFacts());
        }
        Use(std::move(index));
        mMovie.mIndexPath = mStore.Publish(draft, mMovie.mInfo.index, mMovie.mInsides->records, mMedia.Path(),
                                           mMedia.SettledFacts());
    }

    StoredIndex ReadIndex() {
        IndexBuilder builder(mMedia.Content());
        const Guid identity = mMedia.Identity();
        const std::uint64_t total = mMedia.Bytes();
        do {
            TellProgress(builder.BytesDone(), total);
            builder.Advance();
            if (builder.BytesDone() == IndexBuilder::kStepBytes && !builder.IsAtEnd()) CheckSupported();
        } while (!builder.IsAtEnd());
        StoredIndex index = builder.Finish(identity);
        mMedia.ConfirmContent();
        if (mOptions.progress) static_cast<void>(mOptions.progress(total, total));
        return index;
    }

    void TellProgress(std::uint64_t inDone, std::uint64_t inTotal) const {
        if (!mOptions.progress || mOptions.progress(inDone, inTotal)) return;
        throw Error(Vexmora_NotFinished, mMedia.Path(), "was not indexed to its end",
                    "cancelled; open it again to index it");
    }

    // Whether the library takes the media shows when it is opened with any index: better now than after
    // hours.
    void CheckSupported() {
        Vexmora::IndexHeader header{};
        header.recordCount = 1;
        static_cast<void>(OpenWith(header, std::vector<Vexmora::FrameRecord>(1)));
    }

    OwnHandle OpenWith(const Vexmora::IndexHeader& inHeader,
                       const std::vector<Vexmora::FrameRecord>& inRecords) {
        Vexmora_Handle handle = nullptr;
        const Vexmora_Status status =
            Vexmora_OpenFileWithIndex(Vexmora::ToUtf16Path(mMedia.Path().native()),
                                      Services(CacheIdFor(mMedia.Identity())), inHeader, inRecords, &handle);
        if (status != Vexmora_Ok) ThrowFor(status);
        return OwnHandle(handle);
    }

    void Use(StoredIndex inIndex) {
        if (IsFailed(inIndex)) ThrowFor(Vexmora_Unsupported);
        const Vexmora::IndexHeader& header = inIndex.header;
        Insides& insides = *mMovie.mInsides;
        OwnHandle handle = OpenWith(header, inIndex.records);
        mMedia.ConfirmPath();
        insides.cacheId = CacheIdFor(mMedia.Identity());
        MovieInfo& info = mMovie.mInfo;
        const Vexmora_Status status = Vexmora_GetFileInfo(handle.get(), &info.file);
        if (status != Vexmora_Ok) ThrowFor(status);
        info.index = header;
        info.streamKind = KindOf(header);
        info.firstFrame = header.firstFrame;
        // A damaged stream may have no frame that can be used.
        info.frameCount = header.lastFrame < header.firstFrame ? 0 : header.lastFrame - header.firstFrame + 1;
        insides.records = std::move(inIndex.records);
        insides.media = std::make_unique<PlainFile>(mMovie.mPath, mMedia.SettledFacts(), header,
                                                    insides.records, insides.cacheId, FormatOf(handle.get()));
        insides.reader = ReaderOf(std::move(handle));
    }

    [[noreturn]] void ThrowFor(Vexmora_Status inStatus) {
        if (inStatus == Vexmora_Failure) {  // these know more than the status
            static_cast<void>(Posix::InputFile(mMedia.Path()));
            mMedia.ConfirmPath();
        }
        const Explanation why = Explain(inStatus, !mMovie.mWasIndexed);
        throw Error(inStatus, mMedia.Path(), why.problem, why.advice);
    }

    const OpenOptions& mOptions;
    const IndexStore mStore;
    MediaFile mMedia;
    Movie mMovie;
};

Movie Movie::Open(const std::filesystem::path& inPath, const OpenOptions& inOptions) {
    return Opener(inPath, inOptions).Open();
}

Movie::Movie() : mInsides(std::make_unique<Insides>()) {}
Movie::Movie(Movie&&) noexcept = default;
Movie& Movie::operator=(Movie&&) noexcept = default;
Movie::~Movie() = default;

const std::vector<Vexmora::FrameRecord>& Movie::Records() const {
    return mInsides->records;
}

SharedPicture Movie::Frame(std::uint32_t inFrame, Scale inScale) {
    CheckFrame(inFrame);
    SharedPicture picture = mInsides->DecoderOf(*this, inScale).Frame(inFrame);
    if (picture == nullptr) throw NoPictureFor(inFrame, mPath);
    return picture;
}

FrameRun Movie::Run(std::uint32_t inFirst, std::uint32_t inCount, Scale inScale, unsigned inThreads) {
    if (inCount > 0) CheckFrame(inFirst);
    if (inCount > 0 && inCount > mInfo.frameCount - inFirst) CheckFrame(mInfo.frameCount);
    const unsigned threads = inThreads > 0 ? inThreads : Posix::ProcessorCount();
    return {mPath, std::make_unique<FrameRun::Workers>(mInsides->Source(*this), FrameSpan{inFirst, inCount},
                                                       inScale, threads)};
}

void Movie::CheckFrame(std::uint32_t inFrame) const {
    if (inFrame < mInfo.frameCount) return;
    throw Error(Vexmora_NoSuchFrame, mPath, "has no frame " + std::to_string(inFrame),
                "it has " + std::to_string(mInfo.frameCount) + ", counted from 0");
}

FrameSource Movie::Insides::Source(const Movie& inMovie) {
    if (!missingAnchors) missingAnchors.emplace(records);
    return {.reader = *reader,
            .media = *media,
            .records = records,
            .missingAnchors = *missingAnchors,
            .firstFrame = inMovie.mInfo.firstFrame,
            .frameCount = inMovie.mInfo.frameCount,
            .cacheId = cacheId,
            .cache = ProcessFrameCache(),
            .memory = ProcessMemory()};
}

FrameDecoder& Movie::Insides::DecoderOf(const Movie& inMovie, Scale inScale) {
    auto& decoder = decoders.at(static_cast<std::size_t>(inScale));
    if (decoder == nullptr) decoder = std::make_unique<FrameDecoder>(Source(inMovie), inScale);
    return *decoder;
}

}  // namespace VexmoraHost
