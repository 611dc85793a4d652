// vexmora bench: measures a file on this machine and reports how that was done.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "movies/Scales.h"
#include "reports/Units.h"

namespace VexmoraCommand {

namespace {

using Json = nlohmann::ordered_json;

// What is reported, in the units in which it is.
struct Rates {
    explicit Rates(const Measurements& inResult)
        : linear(inResult.frames / inResult.linear), reverse(inResult.frames / inResult.reverse) {
        std::vector<double> runs = inResult.indexing;
        std::sort(runs.begin(), runs.end());
        indexing = static_cast<double>(inResult.streamBytes) / Measurements::Percentile(runs, 50);
        median = Measurements::Percentile(inResult.jumps, 50);
        percent95 = Measurements::Percentile(inResult.jumps, 95);
        worst = inResult.jumps.back();
    }

    double indexing;  // bytes per second, of the median run
    double linear;    // frames per second
    double reverse;
    double median;  // seconds
    double percent95;
    double worst;
};

void WriteText(const MeasuringOptions& inOptions, const Measurements& inResult) {
    const Rates rates(inResult);
    WriteField("File", fmt::format("{}, {}, {} frames of {} x {}", OnOneLine(inOptions.file),
                                   HumanBytes(static_cast<double>(inResult.streamBytes)),
                                   GroupedDigits(inResult.frameCount), inResult.width, inResult.height));
    WriteField(
        "Conditions",
        fmt::format("{} size, {} processors, frame cache of {}, empty at each start; all done once before",
                    NameOf(inOptions.scale), inResult.processors,
                    HumanBytes(static_cast<double>(inResult.frameCacheBytes))));
    WriteField("Indexing",
               fmt::format("{}/s (median of {} runs)", HumanBytes(rates.indexing), inResult.indexing.size()));
    WriteField("Linear", fmt::format("{:.1f} frames/s (the last {} frames)", rates.linear, inResult.frames));
    WriteField("Reverse", fmt::format("{:.1f} frames/s (the same frames)", rates.reverse));
    WriteField("Random access",
               fmt::format("median {:.2f} ms, 95 % {:.2f} ms, worst {:.2f} ms ({} jumps, seed {})",
                           rates.median * 1000, rates.percent95 * 1000, rates.worst * 1000,
                           inResult.jumps.size(), inOptions.seed));
}

void WriteJson(const MeasuringOptions& inOptions, const Measurements& inResult) {
    const Rates rates(inResult);
    const Json json = {
        {"file", inOptions.file},
        {"stream_length", inResult.streamBytes},
        {"width", inResult.width},
        {"height", inResult.height},
        {"frame_count", inResult.frameCount},
        {"scale", NameOf(inOptions.scale)},
        {"processors", inResult.processors},
        {"frame_cache_bytes", inResult.frameCacheBytes},
        {"seed", inOptions.seed},
        {"indexing", {{"runs", inResult.indexing.size()}, {"bytes_per_second", rates.indexing}}},
        {"linear", {{"frames", inResult.frames}, {"frames_per_second", rates.linear}}},
        {"reverse", {{"frames", inResult.frames}, {"frames_per_second", rates.reverse}}},
        {"random",
         {{"jumps", inResult.jumps.size()},
          {"median_seconds", rates.median},
          {"percent_95_seconds", rates.percent95},
          {"worst_seconds", rates.worst}}},
    };
    WriteOutput(json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

}  // namespace

ExitStatus RunBench(const BenchOptions& inOptions) {
    const Measurements result = Measure(inOptions.measuring);
    (inOptions.json ? WriteJson : WriteText)(inOptions.measuring, result);
    FlushOutput();
    return ExitStatus::Done;
}

}  // namespace VexmoraCommand
