// vexmora index: sees to it that files have their index, and tells how that went.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "reports/StreamFacts.h"
#include "reports/Units.h"

namespace VexmoraCommand {

namespace {

using Clock = std::chrono::steady_clock;

std::string Summary(const RecordingFiles& inRecording, const VexmoraHost::Movie& inMovie, double inSeconds) {
    const StreamFacts facts = GatherFacts(inRecording, inMovie);
    const std::string pictures =
        GroupedDigits(facts.pictures.typeI + facts.pictures.typeP + facts.pictures.typeB);
    const auto bytes = static_cast<double>(facts.header.streamLength);
    const std::string done =
        inMovie.WasIndexed()
            ? fmt::format("{} stream, {} pictures, {} in {:.2f} s ({}/s)", KindName(facts.kind), pictures,
                          HumanBytes(bytes), inSeconds, HumanBytes(bytes / std::max(inSeconds, 1e-6)))
            : fmt::format("already indexed, {} pictures", pictures);
    return OnOneLine(fmt::format("{}: {}, index in {}", facts.file, done, facts.indexFile)) + "\n";
}

ExitStatus IndexOne(const RecordingFiles& inRecording, const OpeningOptions& inOptions) {
    const auto start = Clock::now();
    const VexmoraHost::Movie movie = OpenMovie(inRecording, inOptions);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    if (!inOptions.quiet) WriteOutput(Summary(inRecording, movie, elapsed.count()));
    FlushOutput();
    return ExitStatus::Done;
}

}  // namespace

ExitStatus RunIndex(const IndexOptions& inOptions) {
    return ForEachRecording(inOptions.files, inOptions.opening, [&](const RecordingFiles& inRecording) {
        return IndexOne(inRecording, inOptions.opening);
    });
}

}  // namespace VexmoraCommand
