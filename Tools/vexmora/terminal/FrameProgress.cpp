// Progress and interruption of work on frames.
#include "terminal/FrameProgress.h"

namespace Vexmora {

FrameWork::FrameWork(const std::string& inFile, std::uint64_t inFrames, bool inQuiet)
    : mProgress(inFile, inQuiet, ProgressBar::Unit::Frames), mFile(inFile), mFrames(inFrames) {}

void FrameWork::Step() {
    mProgress.Update(++mDone, mFrames);
    if (InterruptGuard::Signal() != 0) throw Interrupted{InterruptGuard::Signal(), mFile};
}

}  // namespace Vexmora
