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

/// While one lives, the first SIGINT, SIGTERM, SIGHUP or SIGQUIT is only remembered; the same signal a second
/// time ends the process at once. Signals that were ignored stay ignored. Several may live at once, on one
/// thread.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// The signal that came, or 0.
    static int Signal();
    /// Throws Interrupted with inFile when one came.
    static void Check(const std::string& inFile);
};

/// Ends the process as inSignal does by itself, so that the shell knows why (status 128 + inSignal there).
[[noreturn]] void EndBySignal(int inSignal);

}  // namespace VexmoraCommand
