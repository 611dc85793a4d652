// Which session answers on this thread, and its answers.
#include "index/IndexSession.h"

#include <new>
#include <system_error>
#include <utility>

#include "VexmoraHost/Error.h"

namespace VexmoraHost {
namespace {

// Written by IndexSession::InForce, read by the index-location functions, each on its own thread: no lock.
struct SessionOfThread {
    IndexSession* current = nullptr;
};
thread_local SessionOfThread tSession;

}  // namespace

IndexSession::InForce::InForce(IndexSession& ioSession, Purpose inPurpose) noexcept
    : mSession(ioSession),
      mPurposeBefore(std::exchange(ioSession.mPurpose, inPurpose)),
      mCurrentBefore(std::exchange(tSession.current, &ioSession)) {}

IndexSession::InForce::~InForce() {
    tSession.current = mCurrentBefore;
    mSession.mPurpose = mPurposeBefore;
}

IndexSession* IndexSession::Current() noexcept {
    return tSession.current;
}

IndexSession::IndexSession(IndexStore inStore, std::filesystem::path inMedia)
    : mStore(std::move(inStore)), mMedia(std::move(inMedia)), mIdentity(IdentifyMedia(mMedia)) {}

IndexSession::~IndexSession() {
    if (mWritingFolder.empty()) return;
    try {
        std::error_code error;
        std::filesystem::remove_all(mWritingFolder, error);
    } catch (const std::bad_alloc&) {
        // The store clears the folder away in time.
    }
}

void IndexSession::RethrowFailure() const {
    if (mFailure) std::rethrow_exception(mFailure);
}

std::optional<std::filesystem::path> IndexSession::WritingFolder() {
    if (mPurpose != Purpose::Write) return std::nullopt;
    if (mWritingFolder.empty()) mWritingFolder = mStore.MakeWritingFolder();
    return mWritingFolder;
}

Guid IndexSession::ConfirmIdentity(const std::filesystem::path& inMedia) const {
    if (inMedia != mMedia) {
        throw Error(Vexmora_Failure, inMedia, "is not the file that is being opened",
                    "begin a session for each file");
    }
    if (IdentifyMedia(mMedia) != mIdentity) {
        throw Error(Vexmora_Failure, mMedia, "changed while it was being opened or indexed",
                    "open it again when nothing writes to it any more");
    }
    return mIdentity;
}

void IndexSession::Register(const Guid& inIdentity, const std::filesystem::path& inIndexPath) {
    if (inIdentity != mIdentity) {
        throw Error(Vexmora_Failure, inIndexPath, "is the index of another file",
                    "begin a session for each file");
    }
    mKnown = mStore.Publish(mIdentity, inIndexPath, mMedia);
}

std::optional<std::filesystem::path> IndexSession::Find(const Guid& inIdentity) {
    if (mPurpose != Purpose::Find) return std::nullopt;
    mKnown = mStore.Find(inIdentity);
    if (!mKnown) return std::nullopt;
    return mKnown->path;
}

}  // namespace VexmoraHost
