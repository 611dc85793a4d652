// The subcommands, and what the command line can ask of each.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "CommandError.h"
#include "movies/MovieOpening.h"
#include "reports/Measurements.h"

namespace VexmoraCommand {

struct InfoOptions {
    std::string file;
    OpeningOptions opening;
    bool json = false;
    bool records = false;
    /// Also what shows only when all of the recording is read; reports of json and records have it anyway.
    bool details = false;
};

struct IndexOptions {
    std::vector<std::string> files;
    /// Quiet also keeps back the summaries.
    OpeningOptions opening;
};

struct CheckOptions {
    std::vector<std::string> files;
    OpeningOptions opening;
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    /// List every range of frames with something wrong, however many.
    bool all = false;
    bool json = false;
};

struct BenchOptions {
    MeasuringOptions measuring;
    bool json = false;
};

struct FrameOptions {
    std::string file;
    /// As ParseFrameList reads it.
    std::string frames;
    /// "-", or a name that ends in .png or .yuv; %d in it stands for the frame number.
    std::string out = "frame-%d.png";
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    /// Leave the shape of the samples out of account.
    bool codedSize = false;
    OpeningOptions opening;
};

enum class ExportRate { Nominal, Effective };

struct ExportOptions {
    std::string file;
    std::string out = "-";
    /// As ParseFrameRange reads it.
    std::string range;
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    /// Frames per second that are told to the reader; not of repeated fields, which have the nominal rate.
    ExportRate rate = ExportRate::Effective;
    /// Show fields as often as the stream asks for, instead of each coded frame once.
    bool repeatFields = false;
    OpeningOptions opening;
};

enum class DecodeOrder { Forward, Reverse, Random };

struct HashOptions {
    std::string file;
    std::string range;
    DecodeOrder order = DecodeOrder::Forward;
    /// Of the random order.
    std::uint64_t seed = 1;
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    OpeningOptions opening;
};

struct SheetOptions {
    std::string file;
    std::string out;
    std::uint32_t columns = 4;
    std::uint32_t rows = 5;
    /// Of the sheet, in samples.
    std::uint32_t width = 1280;
    OpeningOptions opening;
};

/// Reports what a file's index says. Throws CommandError, Interrupted, OutputClosed.
ExitStatus RunInfo(const InfoOptions& inOptions);

/// Indexes one file after the other, those whose index is there only when forced, and tells the problems of
/// each; answers the highest status of all of them. Throws Interrupted, and CommandError or OutputClosed when
/// standard output fails.
ExitStatus RunIndex(const IndexOptions& inOptions);

/// Decodes every frame of one file after the other and reports what is wrong with them; answers the highest
/// status of all files, Failed for one that is not sound. Throws as RunIndex does.
ExitStatus RunCheck(const CheckOptions& inOptions);

// These four answer Failed, and tell so on standard error, when a frame that they decoded is damaged or
// missing; what they write is complete all the same. They throw as RunInfo does.

/// Writes pictures for viewing, or raw planes, each into a file of its own.
ExitStatus RunFrame(const FrameOptions& inOptions);
/// Writes frames in display order as YUV4MPEG2.
ExitStatus RunExport(const ExportOptions& inOptions);
/// Writes one line a frame, in display order: its number and the MD5 of its planes.
ExitStatus RunHash(const HashOptions& inOptions);
/// Writes a contact sheet.
ExitStatus RunSheet(const SheetOptions& inOptions);

/// Reports how fast a file is indexed and decoded. Throws CommandError, Interrupted, OutputClosed.
ExitStatus RunBench(const BenchOptions& inOptions);

}  // namespace VexmoraCommand
