// The opening of one media file: what the library asks about its index file while it opens and indexes.
#pragma once

#include <exception>
#include <filesystem>
#include <optional>

#include "VexmoraHost/IndexStore.h"
#include "VexmoraHost/MediaIdentity.h"

namespace VexmoraHost {

/// Answers the library's questions about one media file out of one store. The library asks on the thread that
/// called Vexmora_OpenFile or Vexmora_IndexFile, and its questions name no host object: so a session is put
/// in force on that thread for the length of the call, and sessions with other files or stores may be in
/// force on other threads. With no session in force every question is answered with failure: media open
/// without an index (Vexmora_NotFinished) and indexes are not written.
///
///     IndexSession session(IndexStore(), path);
///     const IndexSession::InForce inForce(session, IndexSession::Purpose::Find);
///     status = Vexmora_OpenFile(ToInterfacePath(session.Media()), Services(), &handle, &header, false);
///
/// One thread at a time. Except where stated, functions throw Error.
class IndexSession {
  public:
    /// What the call is for: loading the index, opening as if there were no index, or writing one.
    enum class Purpose { Find, Ignore, Write };

    /// Fixes the identity of the media as it is now.
    /// @param inMedia the path that will be given to the library.
    IndexSession(IndexStore inStore, std::filesystem::path inMedia);
    /// Removes what an index file that was not finished left behind.
    ~IndexSession();
    IndexSession(const IndexSession&) = delete;
    IndexSession& operator=(const IndexSession&) = delete;

    /// Puts a session in force on this thread for its lifetime; the one in force before is so again
    /// afterwards.
    class InForce {
      public:
        InForce(IndexSession& ioSession, Purpose inPurpose) noexcept;
        ~InForce();
        InForce(const InForce&) = delete;
        InForce& operator=(const InForce&) = delete;

      private:
        IndexSession& mSession;
        Purpose mPurposeBefore;
        IndexSession* mCurrentBefore;
    };
    /// The session in force on this thread, or null.
    static IndexSession* Current() noexcept;

    const std::filesystem::path& Media() const { return mMedia; }
    const Guid& Identity() const { return mIdentity; }
    /// The index that the library was last told of or wrote.
    const std::optional<IndexStore::Found>& Known() const { return mKnown; }
    /// Throws what made this session answer with failure, if anything did.
    void RethrowFailure() const;

    // The library's questions (see Vexmora::IndexLocationTable); no value is an answer of failure.

    /// The folder for an index file about to be written; no value when none is to be.
    std::optional<std::filesystem::path> WritingFolder();
    /// The identity of the media, which must still be what it was when the session began.
    Guid ConfirmIdentity(const std::filesystem::path& inMedia) const;
    /// Publishes the index file that was written to inIndexPath.
    void Register(const Guid& inIdentity, const std::filesystem::path& inIndexPath);
    /// The path of the index file in the store.
    std::optional<std::filesystem::path> Find(const Guid& inIdentity);
    /// Remembers the exception being handled for RethrowFailure.
    void NoteFailure() noexcept { mFailure = std::current_exception(); }

  private:
    IndexStore mStore;
    std::filesystem::path mMedia;
    Guid mIdentity;
    Purpose mPurpose = Purpose::Find;
    std::filesystem::path mWritingFolder;  // empty until the library asks for it
    std::optional<IndexStore::Found> mKnown;
    std::exception_ptr mFailure;
};

}  // namespace VexmoraHost
