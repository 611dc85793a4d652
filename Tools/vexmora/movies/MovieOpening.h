// Opening the command's input with its frame index.
#pragma once

#include <string>

#include "VexmoraHost/Movie.h"

namespace VexmoraCommand {

/// What the command line can ask of every opening.
struct OpeningOptions {
    /// Folder of the index files; empty for the user's own.
    std::string indexDir;
    /// Index the file even if its index is there.
    bool force = false;
    /// No progress bar.
    bool quiet = false;
};

/// Opens inFile, and indexes it first when its index is not there: with a progress bar, ended cleanly by
/// Ctrl-C.
/// Throws CommandError (Failed when a file cannot be read or written, NotSupported when inFile cannot be
/// indexed) and Interrupted.
VexmoraHost::Movie OpenMovie(const std::string& inFile, const OpeningOptions& inOptions);

}  // namespace VexmoraCommand
