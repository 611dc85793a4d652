// The command line of vexmora.
#pragma once

#include "CommandError.h"

namespace VexmoraCommand {

/// Reads the arguments of main and does what they ask for. What goes wrong with that is thrown; what is wrong
/// with the arguments is told.
ExitStatus RunCommandLine(int inArgumentCount, const char* const* inArguments);

}  // namespace VexmoraCommand
