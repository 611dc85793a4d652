// The files that make up one recording, as the command line names it: a file, several, or a folder.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace VexmoraCommand {

/// Regular files, at least one, in their order.
struct RecordingFiles {
    /// As the user named the recording: what messages begin with.
    std::string name;
    std::vector<std::string> files;
};

/// Finds the files of a recording.
/// @param inName  a file; or a folder: of a DVD (VIDEO_TS, or what holds it) the parts of one title set, of
///                any other the parts of one name that differ by the number at its end (001.ts, 002.ts, …).
/// @param inParts files that follow those of inName.
/// @param inTitle the title set of a DVD; without one, that of the most bytes.
/// Throws CommandError: Failed when a file is not there or is no regular file, or a folder has none or more
/// than one recording; Usage when there is no such title set.
RecordingFiles FindRecording(const std::string& inName, const std::vector<std::string>& inParts,
                             std::optional<unsigned> inTitle);

}  // namespace VexmoraCommand
