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

std::string Summary(const std::string& inFile, const VexmoraHost::Movie& inMovie, double inSeconds) {
    const StreamFacts facts = GatherFacts(inFile, inMovie);
    const std::string pictures =
        GroupedDigits(facts.pictures.typeI + facts.pictures.typeP + facts.pictures.typeB);
    const auto bytes = static_cast<double>(facts.header.streamLength);
    const std::string done =
        inMovie.WasIndexed()
            ? fmt::format("{} stream, {} pictures, {} in {:.2f} s ({}/s)", KindName(facts.kind), pictures,
                          HumanBytes(bytes), inSeconds, HumanBytes(bytes / std::max(inSeconds, 1e-6)))
            : fmt::format("already indexed, {} pictures", pictures);
    return OnOneLine(fmt::format("{}: {}, index in {}", inFile, done, facts.indexFile)) + "\n";
}

}  // namespace

ExitStatus RunIndex(const IndexOptions& inOptions) {
    ExitStatus worst = ExitStatus::Done;
    for (const std::string& file : inOptions.files) {
        const auto start = Clock::now();
        std::optional<VexmoraHost::Movie> movie;
        try {
            movie = OpenMovie(file, inOptions.opening);
        } catch (const CommandError& problem) {
            TellError(problem.what());
            worst = std::max(worst, problem.Status());
            continue;
        }
        const std::chrono::duration<double> elapsed = Clock::now() - start;
        if (inOptions.opening.quiet) continue;
        WriteOutput(Summary(file, *movie, elapsed.count()));
        FlushOutput();
    }
    return worst;
}

}  // namespace VexmoraCommand
