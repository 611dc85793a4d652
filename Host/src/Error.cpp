// The text of an error.
#include "VexmoraHost/Error.h"

#include <utility>

namespace VexmoraHost {

Error::Error(Vexmora_Status inStatus, std::filesystem::path inPath, std::string inProblem,
             std::string inAdvice)
    : std::runtime_error(inPath.native() + ": " + inProblem + " (" + inAdvice + ")"),
      mStatus(inStatus),
      mPath(std::move(inPath)),
      mProblem(std::move(inProblem)),
      mAdvice(std::move(inAdvice)) {}

}  // namespace VexmoraHost
