// Names, options and help of every command.
#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
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

// Decimal, or hexadecimal behind 0x.
CLI::Option* AddNumber(CLI::App& ioCommand, const char* inName, const char* inHelp,
                       std::function<void(std::uint16_t)> inSet) {
    const auto read = [=, set = std::move(inSet)](const std::string& inText) {
        const bool isHex = inText.starts_with("0x") || inText.starts_with("0X");
        const char* const end = inText.data() + inText.size();
        std::uint16_t number = 0;
        const auto [stop, error] =
            std::from_chars(inText.data() + (isHex ? 2 : 0), end, number, isHex ? 16 : 10);
        if (error != std::errc() || stop != end)
            throw CLI::ValidationError(inName, "'" + inText + "' is not a number from 0 to 65535");
        set(number);
    };
    return ioCommand.add_option_function<std::string>(inName, read, inHelp);
}

void AddParts(CLI::App& ioCommand, OpeningOptions& outOptions) {
    ioCommand
        .add_option("--join", outOptions.join,
                    "Parts of the same recording, in order, behind FILE: all are shown as one")
        ->type_name("FILE");
    AddNumber(ioCommand, "--title", "Title set of a DVD's folder (default: the largest)",
              [&](std::uint16_t in) { outOptions.title = in; })
        ->type_name("T");
    AddNumber(ioCommand, "--program", "Show the video of this program (default: the first with MPEG-2 video)",
              [&](std::uint16_t in) { outOptions.choice.program = in; })
        ->type_name("N");
    AddNumber(ioCommand, "--pid", "Show the video of this PID or stream id, decimal or 0x…",
              [&](std::uint16_t in) { outOptions.choice.pid = in; })
        ->type_name("P");
}

constexpr const char* kRecording =
    "MPEG-2 elementary, program or transport stream; or the folder of a DVD, or of parts (001.ts, 002.ts, …)";

void AddRecording(CLI::App& ioCommand, std::string& outFile, OpeningOptions& outOptions) {
    ioCommand.add_option("FILE", outFile, kRecording)->required();
    AddParts(ioCommand, outOptions);
}

void AddRecordings(CLI::App& ioCommand, std::vector<std::string>& outFiles, OpeningOptions& outOptions) {
    ioCommand.add_option("FILE", outFiles, kRecording)->required();
    AddParts(ioCommand, outOptions);
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
    AddRecording(ioCommand, outOptions.file, outOptions.opening);
    ioCommand.add_flag("--json", outOptions.json, "Write a JSON object; implies --details");
    ioCommand.add_flag("--records", outOptions.records,
                       "List every picture position: as CSV, or within the JSON object; implies --details");
    ioCommand.add_flag("--details", outOptions.details,
                       "Also programs, streams, formats and times, for which a plain file is read once more "
                       "(and what was found kept); without it they are shown where they are known");
    AddOpening(ioCommand, outOptions.opening);
}

void AddIndexOptions(CLI::App& ioCommand, IndexOptions& outOptions) {
    AddRecordings(ioCommand, outOptions.files, outOptions.opening);
    ioCommand.add_flag("--force", outOptions.opening.force, "Index again what is already indexed");
    AddOpening(ioCommand, outOptions.opening, "Show no progress and no summary");
}

void AddCheckOptions(CLI::App& ioCommand, CheckOptions& outOptions) {
    AddRecordings(ioCommand, outOptions.files, outOptions.opening);
    ioCommand.add_flag("--all", outOptions.all, "List every range of frames, however many there are");
    ioCommand.add_flag("--json", outOptions.json, "Write a JSON object a line for each file");
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening);
}

void AddBenchOptions(CLI::App& ioCommand, BenchOptions& outOptions) {
    MeasuringOptions& measuring = outOptions.measuring;
    AddRecording(ioCommand, measuring.file, measuring.opening);
    ioCommand.add_option("--frames", measuring.frames, "Frames to decode, and to jump to (default: 200)")
        ->type_name("N")
        ->check(CLI::Range(1u, 1'000'000u));
    AddSeed(ioCommand, measuring.seed, "Chooses the frames to jump to (default: 1)");
    ioCommand.add_flag("--json", outOptions.json, "Write a JSON object");
    AddScale(ioCommand, measuring.scale);
    AddQuiet(ioCommand, measuring.opening.quiet);
}

void AddRange(CLI::App& ioCommand, std::string& outRange) {
    ioCommand
        .add_option(
            "--range", outRange,
            "First and last frame, both included: 10:20 or 10..20, or times as 00:01:00:00..00:02:00.500 "
            "(HH:MM:SS:FF: the stream's time code, or counted from frame 0 where it has no such; "
            "HH:MM:SS.mmm: from the first frame on); either may be left out (default: all frames)")
        ->type_name("A..B");
}

void AddConceal(CLI::App& ioCommand, OpeningOptions& outOptions) {
    ioCommand.add_flag("--conceal", outOptions.concealErrors,
                       "Show the nearest reference picture where there is damage, instead of red");
}

void AddFrameOptions(CLI::App& ioCommand, FrameOptions& outOptions) {
    AddRecording(ioCommand, outOptions.file, outOptions.opening);
    ioCommand
        .add_option("N", outOptions.frames,
                    "Frames: 37, or 5,7, or 10-20, counted from 0; or times, HH:MM:SS:FF or HH:MM:SS.mmm")
        ->required();
    ioCommand
        .add_option("-o,--output", outOptions.out,
                    "A name that ends in .png, or in .yuv for raw planes; %d, or %05d, stands for the frame "
                    "number; - is standard output (default: frame-%d.png)")
        ->type_name("OUT");
    ioCommand.add_flag("--coded-size", outOptions.codedSize,
                       "One sample of the PNG for each coded one, whatever its shape");
    AddConceal(ioCommand, outOptions.opening);
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening, "Show no progress and no names");
}

void AddExportOptions(CLI::App& ioCommand, ExportOptions& outOptions) {
    AddRecording(ioCommand, outOptions.file, outOptions.opening);
    ioCommand.add_option("-o,--output", outOptions.out, "File to write; - is standard output (default)")
        ->type_name("OUT");
    AddRange(ioCommand, outOptions.range);
    ioCommand
        .add_option_function<std::string>(
            "--rate",
            [&](const std::string& in) {
                outOptions.rate = in == "nominal" ? ExportRate::Nominal : ExportRate::Effective;
            },
            "Frames per second in the header: effective (default), which is that of the film where fields "
            "are "
            "repeated (pulldown), or nominal, as the stream says")
        ->type_name("RATE")
        ->check(CLI::IsMember({"nominal", "effective"}));
    ioCommand
        .add_option_function<std::string>(
            "--fields", [&](const std::string& in) { outOptions.repeatFields = in == "repeat"; },
            "drop (default): each coded frame once; repeat: fields and frames as often as they are shown, at "
            "the "
            "nominal rate and in step with the sound")
        ->type_name("FIELDS")
        ->check(CLI::IsMember({"drop", "repeat"}));
    AddConceal(ioCommand, outOptions.opening);
    AddScale(ioCommand, outOptions.scale);
    AddOpening(ioCommand, outOptions.opening);
}

void AddHashOptions(CLI::App& ioCommand, HashOptions& outOptions) {
    static const std::map<std::string, DecodeOrder> kOrders = {{"forward", DecodeOrder::Forward},
                                                               {"reverse", DecodeOrder::Reverse},
                                                               {"random", DecodeOrder::Random}};
    AddRecording(ioCommand, outOptions.file, outOptions.opening);
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
    AddRecording(ioCommand, outOptions.file, outOptions.opening);
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
