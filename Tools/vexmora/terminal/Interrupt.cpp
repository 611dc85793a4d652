// Remembers the signals that ask the process to end.
#include "terminal/Interrupt.h"

#include <array>
#include <csignal>
#include <cstdlib>

namespace VexmoraCommand {

namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

// Written by the signal handler and by InterruptGuard's constructor, read by the one thread of the command.
volatile std::sig_atomic_t gSignal = 0;

extern "C" void RememberSignal(int inSignal) {
    gSignal = inSignal;
    std::signal(inSignal, SIG_DFL);
}

}  // namespace

InterruptGuard::InterruptGuard() {
    gSignal = 0;
    for (const int number : kSignals) {
        if (std::signal(number, RememberSignal) == SIG_IGN) std::signal(number, SIG_IGN);
    }
}

InterruptGuard::~InterruptGuard() {
    for (const int number : kSignals) {
        if (std::signal(number, SIG_DFL) == SIG_IGN) std::signal(number, SIG_IGN);
    }
}

int InterruptGuard::Signal() {
    return gSignal;
}

void EndBySignal(int inSignal) {
    std::signal(inSignal, SIG_DFL);
    std::raise(inSignal);
    std::_Exit(128 + inSignal);
}

}  // namespace VexmoraCommand
