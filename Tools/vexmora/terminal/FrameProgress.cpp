// Progress and interruption of work on frames.
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

FrameProgress::FrameProgress(const std::string& inFile, std::uint64_t inFrames, bool inQuiet)
    : mProgress(inFile, inQuiet, ProgressBar::Unit::Frames), mFile(inFile), mFrames(inFrames) {}

void FrameProgress::Step() {
    mProgress.Update(++mDone, mFrames);
    InterruptGuard::Check(mFile);
}

}  // namespace VexmoraCommand
