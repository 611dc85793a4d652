// The subcommands, and what the command line can ask of each.
#pragma once

#include <string>
#include <vector>

#include "MovieOpening.h"
#include "Problem.h"

namespace Vexmora {

struct InfoOptions {
    std::string file;
    OpeningOptions opening;
    bool json = false;
    bool records = false;
};

struct IndexOptions {
    std::vector<std::string> files;
    /// Quiet also keeps back the summaries.
    OpeningOptions opening;
};

/// Reports what a file's index says. Throws Problem, Interrupted, OutputClosed.
ExitStatus RunInfo(const InfoOptions& inOptions);

/// Indexes one file after the other, those whose index is there only when forced, and tells the problems of
/// each; answers the highest status of all of them. Throws Interrupted, and Problem or OutputClosed when
/// standard output fails.
ExitStatus RunIndex(const IndexOptions& inOptions);

}  // namespace Vexmora
