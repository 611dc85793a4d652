// Opening a file: load its index, or build it and load it then. Frames.
#include "VexmoraHost/Movie.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "frames/FrameDecoder.h"
#include "frames/FrameWorkers.h"
#include "frames/QuantMatrixProbe.h"
#include "index/IndexSession.h"
#include "memory/HostServices.h"
#include "system/PathText.h"
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

bool IsFailedIndex(const std::optional<IndexStore::Found>& inKnown) {
    return inKnown && inKnown->index.header.streamKind == Vexmora::kStreamKindFailed;
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
        case Vexmora_IndexNotWritten:
            return {"was indexed, but its index file could not be written",
                    "check the free space, or choose another index folder"};
        case Vexmora_NotFinished:
            return {"was indexed, but its index was gone at once", "open it again"};
        default:
            return {"cannot be opened or read", "check that it exists and may be read"};
    }
}

}  // namespace

void Movie::Close::operator()(Vexmora_InstanceTag* inHandle) const noexcept {
    static_cast<void>(Vexmora_CloseFile(inHandle));  // always succeeds
}

/// The steps of Movie::Open.
class Movie::Opener {
  public:
    Opener(const std::filesystem::path& inPath, const OpenOptions& inOptions)
        : mOptions(inOptions),
          mStore(StoreFor(inOptions)),
          mSession(mStore, AbsolutePath(inPath)),
          mCacheId(CacheIdFor(mSession.Identity())),
          mServices(Services(mCacheId)) {}

    Movie Open() {
        if (mOptions.blockCacheBytes) ProcessBlockCache().SetBudget(*mOptions.blockCacheBytes);
        if (mOptions.frameCacheBytes) ProcessFrameCache().SetBudget(*mOptions.frameCacheBytes);
        mMovie.mPath = mSession.Media();
        const auto purpose =
            mOptions.forceReindex ? IndexSession::Purpose::Ignore : IndexSession::Purpose::Find;
        Vexmora_Status status = OpenHandle(purpose);
        if (status == Vexmora_NotFinished) {
            mSession.RethrowFailure();  // not without an index, but without an answer
            mStore.CheckWritable();
            BuildIndex();
            status = OpenHandle(IndexSession::Purpose::Find);
        }
        if (status != Vexmora_Ok) ThrowFor(status);
        TakeFacts();
        return std::move(mMovie);
    }

  private:
    Vexmora_Status OpenHandle(IndexSession::Purpose inPurpose) {
        const IndexSession::InForce inForce(mSession, inPurpose);
        mMovie.mHandle.reset();
        Vexmora_Handle handle = nullptr;
        const Vexmora_Status status =
            Vexmora_OpenFile(ToInterfacePath(mSession.Media()), mServices, &handle, &mHeader, false);
        mMovie.mHandle.reset(handle);
        return status;
    }

    void BuildIndex() {
        const IndexSession::InForce inForce(mSession, IndexSession::Purpose::Write);
        mMovie.mWasIndexed = true;
        std::error_code error;  // a file that is gone fails to be indexed
        const std::uint64_t total = std::filesystem::file_size(mSession.Media(), error);
        float fraction = 0;
        Vexmora_Status status = Vexmora_NotFinished;
        while (status == Vexmora_NotFinished) {
            const double done =
                std::clamp(static_cast<double>(fraction), 0.0, 1.0) * static_cast<double>(total);
            if (mOptions.progress && !mOptions.progress(static_cast<std::uint64_t>(done), total)) {
                throw Error(Vexmora_NotFinished, mSession.Media(), "was not indexed to its end",
                            "cancelled; open it again to index it");
            }
            status = Vexmora_IndexFile(mMovie.mHandle.get(), &fraction, false);
        }
        if (status != Vexmora_Ok) ThrowFor(status);
        if (mOptions.progress) static_cast<void>(mOptions.progress(total, total));
    }

    void TakeFacts() {
        const auto& known = mSession.Known();
        if (!known || known->index.header != mHeader) ThrowFor(Vexmora_Failure);
        MovieInfo& info = mMovie.mInfo;
        const Vexmora_Status status = Vexmora_GetFileInfo(mMovie.mHandle.get(), &info.file);
        if (status != Vexmora_Ok) ThrowFor(status);
        static_cast<void>(
            Vexmora_GetVideoFrameOffset(mMovie.mHandle.get(), &info.firstFrame));  // always succeeds
        info.index = mHeader;
        info.streamKind = KindOf(mHeader);
        // A damaged stream may have no frame that can be used.
        info.frameCount = mHeader.lastFrame < info.firstFrame ? 0 : mHeader.lastFrame - info.firstFrame + 1;
        mMovie.mRecords = known->index.records;
        mMovie.mIndexPath = known->path;
        mMovie.mCacheId = mCacheId;
    }

    [[noreturn]] void ThrowFor(Vexmora_Status inStatus) const {
        mSession.RethrowFailure();  // knows more than the status
        if (inStatus == Vexmora_Failure) static_cast<void>(mSession.ConfirmIdentity(mSession.Media()));
        const bool remembered = IsFailedIndex(mSession.Known()) && !mMovie.mWasIndexed;
        const Explanation why = Explain(inStatus, remembered);
        // Who did not cancel is not told so.
        const Vexmora_Status status = inStatus == Vexmora_NotFinished ? Vexmora_Failure : inStatus;
        throw Error(status, mSession.Media(), why.problem, why.advice);
    }

    const OpenOptions& mOptions;
    IndexStore mStore;
    IndexSession mSession;
    const std::uint32_t mCacheId;
    Vexmora::HostServices mServices;
    Vexmora::IndexHeader mHeader{};
    Movie mMovie;
};

Movie Movie::Open(const std::filesystem::path& inPath, const OpenOptions& inOptions) {
    return Opener(inPath, inOptions).Open();
}

SharedPicture Movie::Frame(std::uint32_t inFrame, Scale inScale) {
    CheckFrame(inFrame);
    const FrameSource source = Source();
    SharedPicture picture = FrameDecoder(source, inScale).Frame(inFrame);
    if (picture == nullptr) throw NoPictureFor(inFrame, mPath);
    return picture;
}

FrameRun Movie::Run(std::uint32_t inFirst, std::uint32_t inCount, Scale inScale, unsigned inThreads) {
    if (inCount > 0) CheckFrame(inFirst);
    if (inCount > 0 && inCount > mInfo.frameCount - inFirst) CheckFrame(mInfo.frameCount);
    unsigned threads = inThreads > 0 ? inThreads : Posix::ProcessorCount();
    if (threads > 1 && inCount > 1 && !MayUseHandles(inFirst)) threads = 1;
    return {mPath, std::make_unique<FrameRun::Workers>(Source(), FrameSpan{inFirst, inCount}, inScale,
                                                       threads, [this] { return OpenAgain(); })};
}

void Movie::CheckFrame(std::uint32_t inFrame) const {
    if (inFrame < mInfo.frameCount) return;
    throw Error(Vexmora_NoSuchFrame, mPath, "has no frame " + std::to_string(inFrame),
                "it has " + std::to_string(mInfo.frameCount) + ", counted from 0");
}

// Whether pictures may be decoded with one handle or another.
bool Movie::MayUseHandles(std::uint32_t inFirst) const {
    try {
        return !HasPictureMatrices(mPath, mRecords[mInfo.firstFrame + inFirst].offset);
    } catch (const Error&) {
        return false;  // no other handle could read it either
    }
}

// Opening stays immediate: what takes a look at all records waits for the first picture.
FrameSource Movie::Source() {
    if (mMissingAnchors == nullptr) mMissingAnchors = std::make_shared<MissingAnchors>(mRecords);
    return {.handle = mHandle.get(),
            .records = mRecords,
            .missingAnchors = *mMissingAnchors,
            .firstFrame = mInfo.firstFrame,
            .frameCount = mInfo.frameCount,
            .info = mInfo.file,
            .cacheId = mCacheId,
            .cache = ProcessFrameCache(),
            .pool = ProcessPlanePool()};
}

// Another file may have taken the place of the one that this movie has open.
Vexmora_Handle Movie::OpenAgain() const {
    Vexmora_Handle handle = nullptr;
    const Vexmora_Status status =
        Vexmora_OpenFileWithIndex(ToInterfacePath(mPath), Services(mCacheId), mInfo.index, mRecords, &handle);
    Handle opened(handle);
    if (status != Vexmora_Ok) return nullptr;
    try {
        return CacheIdFor(IdentifyMedia(mPath)) == mCacheId ? opened.release() : nullptr;
    } catch (const Error&) {
        return nullptr;
    }
}

}  // namespace VexmoraHost
