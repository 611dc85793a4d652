// The command line of vexmora, and the one place where everything ends.
#include <CLI/CLI.hpp>
#include <csignal>

#include "Commands.h"
#include "Interrupt.h"
#include "StandardOutput.h"

namespace {

using namespace Vexmora;

constexpr const char* kFooter =
    "Exit status: 0 done; 1 failed (reading or writing, damaged data); 2 wrong usage;\n"
    "             3 data not supported; ended by the signal when interrupted (128 + signal in a shell)";

/// The options that both commands have.
void AddOpening(CLI::App& ioCommand, OpeningOptions& outOptions, const char* inQuietHelp) {
    ioCommand
        .add_option("--index-dir", outOptions.indexDir,
                    "Folder of the index files (default: $XDG_CACHE_HOME/vexmora, or ~/.cache/vexmora)")
        ->type_name("DIR")
        ->check([](const std::string& inText) { return inText.empty() ? "no folder given" : ""; });
    ioCommand.add_flag("-q,--quiet", outOptions.quiet, inQuietHelp);
}

CLI::App* AddInfo(CLI::App& ioApp, InfoOptions& outOptions) {
    CLI::App* command = ioApp.add_subcommand("info", "Show what is in a file");
    command->add_option("FILE", outOptions.file, "MPEG-2 elementary, program or transport stream")
        ->required();
    command->add_flag("--json", outOptions.json, "Write a JSON object");
    command->add_flag("--records", outOptions.records,
                      "List every picture position: as CSV, or within the JSON object");
    AddOpening(*command, outOptions.opening, "Show no progress");
    return command;
}

CLI::App* AddIndex(CLI::App& ioApp, IndexOptions& outOptions) {
    CLI::App* command = ioApp.add_subcommand("index", "Index files and tell where their index went");
    command->add_option("FILE", outOptions.files, "MPEG-2 elementary, program or transport streams")
        ->required();
    command->add_flag("--force", outOptions.opening.force, "Index again what is already indexed");
    AddOpening(*command, outOptions.opening, "Show no progress and no summary");
    return command;
}

ExitStatus Run(int inArgumentCount, const char* const* inArguments) {
    CLI::App app("Frame-accurate random access to MPEG-2 video", "vexmora");
    app.footer(kFooter);
    app.set_version_flag("--version", "vexmora " VEXMORA_VERSION);
    InfoOptions infoOptions;
    IndexOptions indexOptions;
    const CLI::App* info = AddInfo(app, infoOptions);
    const CLI::App* index = AddIndex(app, indexOptions);
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
        TellProblem(std::string(error.what()) + " ('vexmora --help' shows what there is)");
        return ExitStatus::Usage;
    }
    if (info->parsed()) return RunInfo(infoOptions);
    if (index->parsed()) return RunIndex(indexOptions);
    return ExitStatus::Usage;
}

}  // namespace

int main(int inArgumentCount, char** inArguments) {
    // A reader that went away is then seen as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(Run(inArgumentCount, inArguments));
    } catch (const Interrupted& interrupted) {
        TellProblem(interrupted.file + ": interrupted (run it again)");
        EndBySignal(interrupted.signal);
    } catch (const OutputClosed&) {
    } catch (const std::exception& problem) {
        TellProblem(problem.what());
        if (const auto* known = dynamic_cast<const Problem*>(&problem))
            return static_cast<int>(known->Status());
    }
    return static_cast<int>(ExitStatus::Failed);
}
