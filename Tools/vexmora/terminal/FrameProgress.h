// Long work on the frames of one file.
#pragma once

#include <cstdint>
#include <string>

#include "terminal/Interrupt.h"
#include "terminal/ProgressBar.h"

namespace VexmoraCommand {

/// While it lives, the terminal shows how the work goes on, and a signal to end is answered at the next step.
class FrameProgress {
  public:
    /// @param inFile the file as the user named it. @param inFrames frames to be done. @param inQuiet show
    /// nothing.
    FrameProgress(const std::string& inFile, std::uint64_t inFrames, bool inQuiet);

    /// One more frame is done. Throws Interrupted.
    void Step();

  private:
    InterruptGuard mInterrupt;
    ProgressBar mProgress;
    const std::string mFile;
    const std::uint64_t mFrames;
    std::uint64_t mDone = 0;
};

}  // namespace VexmoraCommand
