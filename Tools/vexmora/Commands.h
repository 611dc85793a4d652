// The subcommands, and what the command line can ask of each.
#pragma once

#include <string>
#include <vector>

#include "Problem.h"

namespace Vexmora {

struct InfoOptions {
    std::string file;
    bool json = false;
    bool records = false;
    bool quiet = false;
};

struct IndexOptions {
    std::vector<std::string> files;
    bool quiet = false;
};

/// Reports what a file's index says. Throws Problem, Interrupted, OutputClosed.
ExitStatus RunInfo(const InfoOptions& inOptions);

/// Indexes one file after the other and tells the problems of each; answers the highest status of all of
/// them. Throws Interrupted, and Problem or OutputClosed when standard output fails.
ExitStatus RunIndex(const IndexOptions& inOptions);

}  // namespace Vexmora
