// Remembers the signals that ask the process to end.
#include "terminal/Interrupt.h"

#include <array>
#include <csignal>
#include <cstdlib>

namespace VexmoraCommand {

namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// Written by the signal handler and by the first InterruptGuard's constructor, read by the command's main
// thread, which alone counts the guards.
volatile std::sig_atomic_t gSignal = 0;
unsigned gGuards = 0;

extern "C" void RememberSignal(int inSignal) {
    gSignal = inSignal;
    std::signal(inSignal, SIG_DFL);
}

}  // namespace

InterruptGuard::InterruptGuard() {
    if (gGuards++ > 0) return;
    gSignal = 0;
    for (const int number : kSignals) {
        if (std::signal(number, RememberSignal) == SIG_IGN) std::signal(number, SIG_IGN);
    }
}

InterruptGuard::~InterruptGuard() {
    if (--gGuards > 0) return;
    for (const int number : kSignals) {
        if (std::signal(number, SIG_DFL) == SIG_IGN) std::signal(number, SIG_IGN);
    }
}

int InterruptGuard::Signal() {
    return gSignal;
}

void InterruptGuard::Check(const std::string& inFile) {
    if (gSignal != 0) throw Interrupted{gSignal, inFile};
}

void EndBySignal(int inSignal) {
    std::signal(inSignal, SIG_DFL);
    std::raise(inSignal);
    std::_Exit(128 + inSignal);
}

}  // namespace VexmoraCommand
