// One line about damage, however much of it there is.
#include "reports/DamageSummary.h"

#include <fmt/core.h>

namespace VexmoraCommand {

void DamageSummary::Note(std::uint32_t inFrame, const VexmoraHost::Picture& inPicture) {
    if (inPicture.damage.None()) return;
    ++mFrames;
    mFirst = std::min(mFirst.value_or(inFrame), inFrame);
}

ExitStatus DamageSummary::Tell(const std::string& inFile) const {
    if (mFrames == 0) return ExitStatus::Done;
    const std::string which =
        mFrames == 1
            ? fmt::format("frame {} is damaged or missing", *mFirst)
            : fmt::format("{} frames are damaged or missing, the first is frame {}", mFrames, *mFirst);
    TellError(fmt::format("{}: {} ('vexmora check' tells what is wrong with each)", inFile, which));
    return ExitStatus::Failed;
}

}  // namespace VexmoraCommand
