// Opening the command's input with its frame index.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CommandError.h"
#include "VexmoraHost/Movie.h"
#include "files/RecordingFiles.h"
#include "movies/FrameTimes.h"

namespace VexmoraCommand {

/// What the command line can ask of every opening.
struct OpeningOptions {
    /// Files that follow the one named first, as parts of the same recording.
    std::vector<std::string> join;
    /// Which title set of a DVD's folder.
    std::optional<unsigned> title;
    /// Which video of the recording.
    VexmoraHost::VideoChoice choice;
    /// Show references instead of the red of errors.
    bool concealErrors = false;
    /// Folder of the index files; empty for the user's own.
    std::string indexDir;
    /// Index the file even if its index is there.
    bool force = false;
    /// No progress bar.
    bool quiet = false;
};

/// The files of the one recording that a command takes. Throws as the other FindRecording does.
RecordingFiles FindRecording(const std::string& inName, const OpeningOptions& inOptions);

/// Does something with each recording of a command that takes several: inNames each by itself, or all of them
/// and the joined parts as one. Tells the problems of each; answers the highest status of all.
ExitStatus ForEachRecording(const std::vector<std::string>& inNames, const OpeningOptions& inOptions,
                            const std::function<ExitStatus(const RecordingFiles&)>& inWork);

/// Opens a recording, and indexes it first when its index is not there: with a progress bar, ended cleanly by
/// Ctrl-C.
/// Throws CommandError (Failed when a file cannot be read or written, NotSupported when the recording cannot
/// be indexed) and Interrupted.
VexmoraHost::Movie OpenMovie(const RecordingFiles& inRecording, const OpeningOptions& inOptions);

/// What Movie::Details answers, with a progress bar as long as it reads; throws as OpenMovie does.
const VexmoraHost::MovieDetails& ReadDetails(VexmoraHost::Movie& ioMovie, const RecordingFiles& inRecording,
                                             bool inQuiet);

/// Finds frames by times; the details are read when the first time is asked for. What is passed outlives the
/// function, which throws as OpenMovie does.
FindTime TimesOf(VexmoraHost::Movie& ioMovie, const RecordingFiles& inRecording, bool inQuiet);

}  // namespace VexmoraCommand
