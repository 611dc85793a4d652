// The one type that the reference host throws when something cannot be done.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "Vexmora/Status.h"

namespace VexmoraHost {

/// What went wrong, with which file, and what the user can do about it. Besides this type only std::bad_alloc
/// leaves the reference host (and what a callback of the caller throws).
class Error : public std::runtime_error {
  public:
    /// what() becomes "PATH: PROBLEM (ADVICE)".
    Error(Vexmora_Status inStatus, std::filesystem::path inPath, std::string inProblem, std::string inAdvice);

    /// Vexmora_Failure: a file cannot be opened, read or written. Vexmora_Unsupported and
    /// Vexmora_NoSequenceHeader: the library does not support the data. Vexmora_NotFinished: the progress
    /// callback cancelled. Vexmora_IndexNotWritten: the media was indexed but the index was not kept.
    /// Vexmora_NoSuchFrame: the movie has no such frame, or no picture for it.
    Vexmora_Status Status() const noexcept { return mStatus; }
    /// The file or folder that the problem lies with.
    const std::filesystem::path& Path() const noexcept { return mPath; }
    const std::string& Problem() const noexcept { return mProblem; }
    /// What the user can do about it.
    const std::string& Advice() const noexcept { return mAdvice; }

  private:
    Vexmora_Status mStatus;
    std::filesystem::path mPath;
    std::string mProblem;
    std::string mAdvice;
};

}  // namespace VexmoraHost
