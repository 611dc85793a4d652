// Opens movies, and tells in the command's words why one cannot be opened.
#include "movies/MovieOpening.h"

#include <filesystem>
#include <new>
#include <optional>
#include <system_error>

#include "CommandError.h"
#include "files/InputFile.h"
#include "files/StandardOutput.h"
#include "reports/UnsupportedReason.h"
#include "terminal/Interrupt.h"
#include "terminal/ProgressBar.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Movie;

// What is looked at of a file's start to explain why it is not supported.
constexpr std::size_t kStartBytes = std::size_t{1} << 20;

// What there is only while a file is being indexed: nothing else takes time or has anything to clean up.
struct Indexing {
    Indexing(const std::string& inFile, bool inQuiet) : progress(inFile, inQuiet) {}

    InterruptGuard interrupt;
    ProgressBar progress;
};

CommandError Explain(const std::string& inFile, const InputFile& inInput, const VexmoraHost::Error& inError) {
    if (inError.Status() == Vexmora_Unsupported || inError.Status() == Vexmora_NoSequenceHeader) {
        const UnsupportedReason reason = ExplainUnsupported(inInput.ReadStart(kStartBytes));
        return {ExitStatus::NotSupported, inFile, reason.what, reason.advice};
    }
    std::string text = inError.what();
    // The error names the file by its whole path, the user need not have.
    std::error_code error;
    const std::string path = std::filesystem::absolute(inFile, error).native();
    if (!error && inError.Path() == path) text.replace(0, path.size(), inFile);
    return {ExitStatus::Failed, text};
}

}  // namespace

VexmoraHost::Movie OpenMovie(const std::string& inFile, const OpeningOptions& inOptions) {
    const InputFile input(inFile);
    if (IsStandardOutput(inFile)) {
        throw CommandError(ExitStatus::Usage, "standard output", "is the file that is read",
                           "send the output somewhere else");
    }
    std::optional<Indexing> indexing;
    const auto onProgress = [&](std::uint64_t inDone, std::uint64_t inTotal) {
        if (!indexing) indexing.emplace(inFile, inOptions.quiet);
        indexing->progress.Update(inDone, inTotal);
        return InterruptGuard::Signal() == 0;
    };
    const auto throwIfInterrupted = [&] {
        if (indexing) InterruptGuard::Check(inFile);
    };
    try {
        Movie movie = Movie::Open(
            inFile,
            {.indexDir = inOptions.indexDir, .forceReindex = inOptions.force, .progress = onProgress});
        throwIfInterrupted();  // too late to cancel
        return movie;
    } catch (const VexmoraHost::Error& error) {
        throwIfInterrupted();
        throw Explain(inFile, input, error);
    } catch (const std::bad_alloc&) {
        throw CommandError(ExitStatus::Failed, inFile, "there is not enough memory for its index",
                           "end other programs, or cut the file");
    }
}

}  // namespace VexmoraCommand
