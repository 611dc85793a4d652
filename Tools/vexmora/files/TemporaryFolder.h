// A folder that is gone when its work is done.
#pragma once

#include <string>
#include <string_view>

#include "terminal/Interrupt.h"

namespace VexmoraCommand {

/// Made empty in the system's folder for temporary files, removed with all that is in it, also when a signal
/// asks the process to end.
class TemporaryFolder {
  public:
    /// @param inName what its name begins with. Throws CommandError.
    explicit TemporaryFolder(std::string_view inName);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return mPath; }

  private:
    InterruptGuard mInterrupt;
    std::string mPath;
};

}  // namespace VexmoraCommand
