// A media file while it is being opened: its content for who needs it, and whether it stays the same.
#pragma once

#include <filesystem>
#include <optional>

#include "index/MediaIdentity.h"
#include "system/Posix.h"

namespace VexmoraHost {

/// Nothing is read, nor even opened, before somebody asks for it: of a file that is known it takes only what
/// the file system tells. One thread at a time; every function throws Error.
class MediaFile {
  public:
    /// @param inPath absolute. There must be a regular file of that name.
    explicit MediaFile(std::filesystem::path inPath);

    const std::filesystem::path& Path() const { return mPath; }
    /// What tells the file from what it was or will be without reading it. No value while it is so young that
    /// a change might not show.
    std::optional<FileFacts> SettledFacts() const;
    std::uint64_t Bytes() const { return mFacts.bytes; }

    /// The file, open from now on.
    const Posix::InputFile& Content();
    /// See IdentifyMedia; sampled when it is asked for first.
    const Guid& Identity();
    /// Takes the identity from somebody who knows it of the same facts.
    void SetIdentity(const Guid& inIdentity) { mIdentity = inIdentity; }

    /// Samples the content again, which takes whom wrote to it without leaving a trace in the facts. Throws
    /// when it is not what it was.
    void ConfirmContent();
    /// Throws when the path does not lead to the same file with the same content any more.
    void ConfirmPath();

  private:
    [[noreturn]] void ThrowChanged() const;

    std::filesystem::path mPath;
    FileFacts mFacts;
    bool mAreFactsSettled = false;
    std::optional<Posix::InputFile> mContent;
    std::optional<Guid> mIdentity;
};

}  // namespace VexmoraHost
