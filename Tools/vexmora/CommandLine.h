// The commands as the command line has them.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "CommandError.h"

namespace VexmoraCommand {

/// One command, with the options that parsing leaves in it.
struct Command {
    const CLI::App* parser;
    std::function<ExitStatus()> run;
};

/// Adds every command to ioApp, which is not parsed yet.
std::vector<Command> AddCommands(CLI::App& ioApp);

}  // namespace VexmoraCommand
