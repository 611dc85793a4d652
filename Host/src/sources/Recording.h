// The files of a recording and the choice of its video, as what they are known by.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "VexmoraHost/Programs.h"
#include "index/MediaIdentity.h"
#include "index/Registry.h"
#include "sources/JoinedFiles.h"

namespace VexmoraHost {

/// One thread at a time. Functions throw Error.
class Recording {
  public:
    /// @param inPaths absolute, at least one.
    Recording(std::vector<std::filesystem::path> inPaths, const VideoChoice& inChoice);

    const std::filesystem::path& Path() const { return mPaths.front(); }
    const VideoChoice& Choice() const { return mChoice; }

    /// What the registry knows it by: all names and the choice; facts where those of all files are settled.
    RegistryMedia Key() const;
    /// A fingerprint of the content of all files, their order and the choice.
    const Guid& Identity();
    /// The files, open from now on.
    const std::shared_ptr<const JoinedFiles>& Files();
    /// Throws when a file is not what it was.
    void ConfirmContent() const;

  private:
    Guid IdentityNow() const;

    std::vector<std::filesystem::path> mPaths;
    VideoChoice mChoice;
    std::vector<std::optional<FileFacts>> mFacts;  // of those that are settled
    std::shared_ptr<const JoinedFiles> mFiles;
    std::optional<Guid> mIdentity;
};

}  // namespace VexmoraHost
