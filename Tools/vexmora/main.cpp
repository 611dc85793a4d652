// The command line of vexmora, and the one place where everything ends.
#include <csignal>
#include <new>

#include "CommandLine.h"
#include "files/StandardOutput.h"
#include "terminal/Interrupt.h"

namespace {

using namespace VexmoraCommand;

constexpr const char* kFooter =
    "Exit status: 0 done; 1 failed (reading or writing, damaged data); 2 wrong usage;\n"
    "             3 data not supported; ended by the signal when interrupted (128 + signal in a shell)";

ExitStatus Run(int inArgumentCount, const char* const* inArguments) {
    CLI::App app("Frame-accurate random access to MPEG-2 video", "vexmora");
    app.footer(kFooter);
    app.set_version_flag("--version", "vexmora " VEXMORA_VERSION);
    const std::vector<Command> commands = AddCommands(app);
    try {
        app.parse(inArgumentCount, inArguments);
        if (app.get_subcommands().empty()) throw CLI::ValidationError("no command given", 0);
    } catch (const CLI::CallForHelp&) {
        WriteOutput(app.help());
        FlushOutput();
        return ExitStatus::Done;
    } catch (const CLI::CallForVersion& version) {
        WriteOutput(std::string(version.what()) + "\n");
        FlushOutput();
        return ExitStatus::Done;
    } catch (const CLI::ParseError& error) {
        TellError(std::string(error.what()) + " ('vexmora --help' shows what there is)");
        return ExitStatus::Usage;
    }
    for (const Command& command : commands) {
        if (command.parser->parsed()) return command.run();
    }
    return ExitStatus::Usage;
}

}  // namespace

int main(int inArgumentCount, char** inArguments) {
    // A reader that went away is then seen as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(Run(inArgumentCount, inArguments));
    } catch (const Interrupted& interrupted) {
        TellError(interrupted.file + ": interrupted (run it again)");
        EndBySignal(interrupted.signal);
    } catch (const OutputClosed&) {
    } catch (const std::bad_alloc&) {
        TellError("there is not enough memory (end other programs, or ask for smaller pictures)");
    } catch (const std::exception& problem) {
        TellError(problem.what());
        if (const auto* known = dynamic_cast<const CommandError*>(&problem))
            return static_cast<int>(known->Status());
    }
    return static_cast<int>(ExitStatus::Failed);
}
