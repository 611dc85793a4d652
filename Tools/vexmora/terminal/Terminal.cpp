// The terminal at standard error.
#include "terminal/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace VexmoraCommand {

bool StandardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

bool StandardOutputIsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

std::size_t TerminalColumns() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

}  // namespace VexmoraCommand
