// The text of an error.
#include "VexmoraHost/Error.h"

#include <utility>

namespace VexmoraHost {

Error::Error(Vexmora_Status inStatus, std::filesystem::path inPath, const std::string& inProblem,
             const std::string& inAdvice)
    : std::runtime_error(inPath.native() + ": " + inProblem + " (" + inAdvice + ")"),
      mStatus(inStatus),
      mPath(std::move(inPath)) {}

}  // namespace VexmoraHost
