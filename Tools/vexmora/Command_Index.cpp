// vexmora index: reads files once and tells how that went.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "Commands.h"
#include "StandardOutput.h"
#include "StreamFacts.h"
#include "Units.h"

namespace Vexmora {

namespace {

using Clock = std::chrono::steady_clock;

std::string Summary(const std::string& inFile, const StreamIndex& inIndex, double inSeconds) {
    const StreamFacts facts = GatherFacts(inFile, inIndex);
    const auto bytes = static_cast<double>(facts.header.streamLength);
    const std::uint64_t pictures = facts.pictures.typeI + facts.pictures.typeP + facts.pictures.typeB;
    return fmt::format("{}: {} stream, {} pictures, {} in {:.2f} s ({}/s)\n", OnOneLine(inFile),
                       KindName(facts.header), GroupedDigits(pictures), HumanBytes(bytes), inSeconds,
                       HumanBytes(bytes / std::max(inSeconds, 1e-6)));
}

}  // namespace

ExitStatus RunIndex(const IndexOptions& inOptions) {
    ExitStatus worst = ExitStatus::Done;
    for (const std::string& file : inOptions.files) {
        const auto start = Clock::now();
        std::optional<StreamIndex> index;
        try {
            index = IndexWithProgress(file, inOptions.quiet);
        } catch (const Problem& problem) {
            TellProblem(problem.what());
            worst = std::max(worst, problem.Status());
            continue;
        }
        const std::chrono::duration<double> elapsed = Clock::now() - start;
        if (inOptions.quiet) continue;
        WriteOutput(Summary(file, *index, elapsed.count()));
        FlushOutput();
    }
    return worst;
}

}  // namespace Vexmora
