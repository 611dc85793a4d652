// Names, options and help of every command.
#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "movies/Scales.h"

namespace VexmoraCommand {

namespace {

constexpr const char* kQuiet = "Show no progress";
constexpr const char* kFooter =
    "Exit status: 0 done; 1 failed (reading or writing, damaged data); 2 wrong usage;\n"
    "             3 data not supported; ended by the signal when interrupted (128 + signal in a shell)";

// One command, with the options that parsing leaves in it.
struct Command {
    const CLI::App* parser;
    std::function<ExitStatus()> run;
};

void AddFile(CLI::App& ioCommand, std::string& outFile) {
    ioCommand.add_option("FILE", outFile, "MPEG-2 elementary, program or transport stream")->required();
}

void AddFiles(CLI::App& ioCommand, std::vector<std::string>& outFiles) {
    ioCommand.add_option("FILE", outFiles, "MPEG-2 elementary, program or transport streams")->required();
}

void AddQuiet(CLI::App& ioCommand, bool& outQuiet, const char* inHelp = kQuiet) {
    ioCommand.add_flag("-q,--quiet", outQuiet, inHelp);
}

void AddOpening(CLI::App& ioCommand, OpeningOptions& outOptions, const char* inQuietHelp = kQuiet) {
    ioCommand
        .add_option("--index-dir", outOptions.indexDir,
                    "Folder of the index files (default: $XDG_CACHE_HOME/vexmora, or ~/.cache/vexmora)")
        ->type_name("DIR")
        ->check([](const std::string& inText) { return inText.empty() ? "no folder given" : ""; });
    AddQuiet(ioCommand, outOptions.quiet, inQuietHelp);
}

void AddScale(CLI::App& ioCommand, VexmoraHost::Scale& outScale) {
    ioCommand
        .add_option_function<std::string>(
            "--scale", [&outScale](const std::string& inName) { outScale = ScalesByName().at(inName); },
            "Size to decode in: full (default), half as wide, or a quarter (half as wide and high)")
        ->type_name("SIZE")
        ->check(CLI::IsMember({"full", "half", "quarter"}));
}

void AddSeed(CLI::App& ioCommand, std::uint64_t& outSeed, const char* inHelp) {
    // Negative numbers would be taken modulo the range of the type.
    const auto isNatural = [](const std::string& inText) -> std::string {
        const bool isDigits = inText.find_first_not_of("0123456789") == std::string::npos;
        return isDigits ? "" : "'" + inText + "' is not a whole number from 0 on";
    };
    ioCommand.add_option("--seed", outSeed, inHelp)->type_name("S")->check(isNatural);
}

// Adds a command whose options live as long as it may be run.
template <typename Options>
Command Add(CLI::App& ioApp, const char* inName, const char* inHelp,
            void (*inAddOptions)(CLI::App& ioCommand, Options& outOptions),
            ExitStatus (*inRun)(const Options& inOptions)) {
    const auto options = std::make_shared<Options>();
    CLI::App* const parser = ioApp.add_subcommand(inName, inHelp);
    inAddOptions(*parser, *options);
    return {parser, [options, inRun] { return inRun(*options); }};
}

void AddInfoOptions(CLI::App& ioCommand, InfoOptions& outOptions) {
    AddFile(ioCommand, outOptions.file);
    ioCommand.add_flag("--json", outOptions.json, "Write a JSON object");
    ioCommand.add_flag("--records", outOptions.records,
                       "List every picture position: as CSV, or within the JSON object");
    AddOpening(ioCommand, outOptions.opening);
}

void AddIndexOptions(CLI::App& ioCommand, IndexOptions& outOptions) {
    AddFiles(ioCommand, outOptions.files);
    ioCommand.add_flag("--force", outOptions.opening.force, "Index again what is already indexed");
    AddOpening(ioCommand, outOptions.opening, "Show no progress and no summary");
}

void AddCheckOptions(CLI::App& ioCommand, CheckOptions& outOptions) {
    AddFiles(ioCommand, outOptions.files);
    ioCommand.add_flag("--all", outOptions.all, "List every range of frames, however many there are");
    ioCommand.add_flag("--json", outOptions.json, "Write a JSON object a line for each file");
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening);
}

void AddBenchOptions(CLI::App& ioCommand, BenchOptions& outOptions) {
    MeasuringOptions& measuring = outOptions.measuring;
    AddFile(ioCommand, measuring.file);
    ioCommand.add_option("--frames", measuring.frames, "Frames to decode, and to jump to (default: 200)")
        ->type_name("N")
        ->check(CLI::Range(1u, 1'000'000u));
    AddSeed(ioCommand, measuring.seed, "Chooses the frames to jump to (default: 1)");
    ioCommand.add_flag("--json", outOptions.json, "Write a JSON object");
    AddScale(ioCommand, measuring.scale);
    AddQuiet(ioCommand, measuring.quiet);
}

void AddRange(CLI::App& ioCommand, std::string& outRange) {
    ioCommand
        .add_option("--range", outRange,
                    "First and last frame, both included; either may be left out (default: all frames)")
        ->type_name("A:B");
}

void AddFrameOptions(CLI::App& ioCommand, FrameOptions& outOptions) {
    AddFile(ioCommand, outOptions.file);
    ioCommand.add_option("N", outOptions.frames, "Frames: 37, or 5,7, or 10-20, counted from 0")->required();
    ioCommand
        .add_option("-o,--output", outOptions.out,
                    "A name that ends in .png, or in .yuv for raw planes; %d, or %05d, stands for the frame "
                    "number; - is standard output (default: frame-%d.png)")
        ->type_name("OUT");
    ioCommand.add_flag("--coded-size", outOptions.codedSize,
                       "One sample of the PNG for each coded one, whatever its shape");
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening, "Show no progress and no names");
}

void AddExportOptions(CLI::App& ioCommand, ExportOptions& outOptions) {
    AddFile(ioCommand, outOptions.file);
    ioCommand.add_option("-o,--output", outOptions.out, "File to write; - is standard output (default)")
        ->type_name("OUT");
    AddRange(ioCommand, outOptions.range);
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening);
}

void AddHashOptions(CLI::App& ioCommand, HashOptions& outOptions) {
    static const std::map<std::string, DecodeOrder> kOrders = {{"forward", DecodeOrder::Forward},
                                                               {"reverse", DecodeOrder::Reverse},
                                                               {"random", DecodeOrder::Random}};
    AddFile(ioCommand, outOptions.file);
    AddRange(ioCommand, outOptions.range);
    ioCommand
        .add_option_function<std::string>(
            "--order", [&outOptions](const std::string& inName) { outOptions.order = kOrders.at(inName); },
            "Order of decoding (default: forward)")
        ->type_name("ORDER")
        ->check(CLI::IsMember({"forward", "reverse", "random"}));
    AddSeed(ioCommand, outOptions.seed, "Chooses the random order (default: 1)");
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening);
}

void AddSheetOptions(CLI::App& ioCommand, SheetOptions& outOptions) {
    AddFile(ioCommand, outOptions.file);
    const auto isPng = [](const std::string& inText) {
        return inText == "-" || inText.ends_with(".png") ? "" : "a sheet is a PNG: end its name in .png";
    };
    ioCommand.add_option("-o,--output", outOptions.out, "PNG file to write; - is standard output")
        ->type_name("OUT")
        ->check(isPng)
        ->required();
    ioCommand.add_option("--columns", outOptions.columns, "Pictures beside one another (default: 4)")
        ->type_name("C")
        ->check(CLI::Range(1u, 100u));
    ioCommand.add_option("--rows", outOptions.rows, "Pictures below one another (default: 5)")
        ->type_name("R")
        ->check(CLI::Range(1u, 100u));
    ioCommand.add_option("--width", outOptions.width, "Samples of the whole sheet (default: 1280)")
        ->type_name("W")
        ->check(CLI::Range(32u, 16384u));
    AddOpening(ioCommand, outOptions.opening, "Show no progress and no summary");
}

std::vector<Command> AddCommands(CLI::App& ioApp) {
    return {
        Add(ioApp, "info", "Show what is in a file", AddInfoOptions, RunInfo),
        Add(ioApp, "index", "Index files and tell where their index went", AddIndexOptions, RunIndex),
        Add(ioApp, "frame", "Write pictures as PNG or raw planes", AddFrameOptions, RunFrame),
        Add(ioApp, "export", "Write frames as YUV4MPEG2 for other programs", AddExportOptions, RunExport),
        Add(ioApp, "hash", "List the MD5 of every frame", AddHashOptions, RunHash),
        Add(ioApp, "sheet", "Make a contact sheet: evenly spaced frames with their numbers", AddSheetOptions,
            RunSheet),
        Add(ioApp, "check", "Decode every frame of files and name what is damaged", AddCheckOptions,
            RunCheck),
        Add(ioApp, "bench", "Measure how fast a file is indexed and decoded", AddBenchOptions, RunBench),
    };
}

}  // namespace

ExitStatus RunCommandLine(int inArgumentCount, const char* const* inArguments) {
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

}  // namespace VexmoraCommand
