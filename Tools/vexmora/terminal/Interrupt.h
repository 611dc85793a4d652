// Ends long work cleanly when the user presses Ctrl-C or the system asks the process to end.
#pragma once

#include <string>

namespace VexmoraCommand {

/// Thrown out of work that was interrupted, once everything it held is released. main ends the process with
/// it.
struct Interrupted {
    int signal;
    /// The file that was being worked on.
    std::string file;
};

/// While one lives, the first SIGINT, SIGTERM or SIGHUP is only remembered; the same signal a second time
/// ends the process at once. Signals that were ignored stay ignored. One at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// The signal that came, or 0.
    static int Signal();
};

/// Ends the process as inSignal does by itself, so that the shell knows why (status 128 + inSignal there).
[[noreturn]] void EndBySignal(int inSignal);

}  // namespace VexmoraCommand
