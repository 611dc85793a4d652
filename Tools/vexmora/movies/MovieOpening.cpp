// Opens movies, and tells in the command's words why one cannot be opened.
#include "movies/MovieOpening.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <new>
#include <optional>
#include <system_error>

#include "files/StandardOutput.h"
#include "terminal/Interrupt.h"
#include "terminal/ProgressBar.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Movie;

// What there is only while a recording is being read: nothing else takes time or has anything to clean up.
struct Reading {
    Reading(const std::string& inName, bool inQuiet) : progress(inName, inQuiet) {}

    InterruptGuard interrupt;
    ProgressBar progress;
};

// The error names a file by its whole path, the user need not have.
CommandError Explain(const RecordingFiles& inRecording, const VexmoraHost::Error& inError) {
    const bool isNotSupported =
        inError.Status() == Vexmora_Unsupported || inError.Status() == Vexmora_NoSequenceHeader;
    std::string text = inError.what();
    for (const std::string& file : inRecording.files) {
        std::error_code error;
        const std::string path = std::filesystem::absolute(file, error).native();
        if (error || inError.Path() != path) continue;
        text.replace(0, path.size(), file);
        break;
    }
    return {isNotSupported ? ExitStatus::NotSupported : ExitStatus::Failed, text};
}

// Does something that reads a recording and tells how far it is; inShown names what there is too little
// memory for.
template <typename Work>
auto Read(const RecordingFiles& inRecording, bool inQuiet, const char* inShown, const Work& inWork) {
    std::optional<Reading> reading;
    const VexmoraHost::Progress onProgress = [&](std::uint64_t inDone, std::uint64_t inTotal) {
        if (!reading) reading.emplace(inRecording.name, inQuiet);
        reading->progress.Update(inDone, inTotal);
        return InterruptGuard::Signal() == 0;
    };
    const auto throwIfInterrupted = [&] {
        if (reading) InterruptGuard::Check(inRecording.name);
    };
    try {
        auto result = inWork(onProgress);
        throwIfInterrupted();  // too late to cancel
        return result;
    } catch (const VexmoraHost::Error& error) {
        throwIfInterrupted();
        throw Explain(inRecording, error);
    } catch (const std::bad_alloc&) {
        throw CommandError(ExitStatus::Failed, inRecording.name,
                           std::string("there is not enough memory for its ") + inShown,
                           "end other programs, or cut the file");
    }
}

}  // namespace

RecordingFiles FindRecording(const std::string& inName, const OpeningOptions& inOptions) {
    return FindRecording(inName, inOptions.join, inOptions.title);
}

ExitStatus ForEachRecording(const std::vector<std::string>& inNames, const OpeningOptions& inOptions,
                            const std::function<ExitStatus(const RecordingFiles&)>& inWork) {
    std::vector<std::string> names = inNames;
    std::vector<std::string> parts;
    if (!inOptions.join.empty()) {
        parts.assign(names.begin() + 1, names.end());
        parts.insert(parts.end(), inOptions.join.begin(), inOptions.join.end());
        names.resize(1);
    }
    ExitStatus worst = ExitStatus::Done;
    for (const std::string& name : names) {
        try {
            worst = std::max(worst, inWork(FindRecording(name, parts, inOptions.title)));
        } catch (const CommandError& problem) {
            TellError(problem.what());
            worst = std::max(worst, problem.Status());
        }
    }
    return worst;
}

Movie OpenMovie(const RecordingFiles& inRecording, const OpeningOptions& inOptions) {
    if (std::ranges::any_of(inRecording.files, IsStandardOutput)) {
        throw CommandError(ExitStatus::Usage, "standard output", "is the file that is read",
                           "send the output somewhere else");
    }
    const std::vector<std::filesystem::path> paths(inRecording.files.begin(), inRecording.files.end());
    return Read(inRecording, inOptions.quiet, "index", [&](const VexmoraHost::Progress& inProgress) {
        return Movie::Open(paths, {.indexDir = inOptions.indexDir,
                                   .forceReindex = inOptions.force,
                                   .progress = inProgress,
                                   .concealErrors = inOptions.concealErrors,
                                   .choice = inOptions.choice});
    });
}

const VexmoraHost::MovieDetails& ReadDetails(Movie& ioMovie, const RecordingFiles& inRecording,
                                             bool inQuiet) {
    return *Read(inRecording, inQuiet, "details",
                 [&](const VexmoraHost::Progress& inProgress) { return &ioMovie.Details(inProgress); });
}

FindTime TimesOf(Movie& ioMovie, const RecordingFiles& inRecording, bool inQuiet) {
    return TimesOf(ioMovie.Info(), [&ioMovie, &inRecording, inQuiet]() -> const VexmoraHost::MovieDetails& {
        return ReadDetails(ioMovie, inRecording, inQuiet);
    });
}

}  // namespace VexmoraCommand
