// A new thread inherits the signal mask of the one that starts it, so the mask is set around the start.
#include "Orvet/BackgroundThread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace Orvet {
namespace {

// Blocks signals on the calling thread for its lifetime.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t blocked;
        sigfillset(&blocked);
        // A blocked fault ends the process without the host's crash handler having seen it.
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &mBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t mBefore;
};

}  // namespace

std::thread StartBackgroundThread(std::function<void()> inBody) {
    const SignalsBlocked blocked;
    return std::thread(std::move(inBody));
}

}  // namespace Orvet
