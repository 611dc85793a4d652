// What the command asks the operating system about the terminal.
#pragma once

#include <cstddef>

namespace VexmoraCommand {

/// Whether standard error is a terminal.
bool StandardErrorIsTerminal();

/// Whether standard output is a terminal.
bool StandardOutputIsTerminal();

/// Columns of the terminal at standard error; 80 when it does not say.
std::size_t TerminalColumns();

}  // namespace VexmoraCommand
