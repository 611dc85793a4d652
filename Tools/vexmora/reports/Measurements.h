// How fast a movie is indexed and its frames are decoded on this machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "movies/MovieOpening.h"

namespace VexmoraCommand {

/// What is measured, and how long it takes.
struct MeasuringOptions {
    std::string file;
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    /// Frames to decode in either direction, and places to jump to, at most.
    std::uint32_t frames = 200;
    /// Chooses the places.
    std::uint64_t seed = 1;
    /// Its folder for the index is not used.
    OpeningOptions opening;
};

/// All seconds are of a steady clock, and of work for which the file had been read before.
struct Measurements {
    std::uint64_t streamBytes = 0;
    std::uint32_t frameCount = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::size_t frameCacheBytes = 0;
    unsigned processors = 0;

    /// Of each run.
    std::vector<double> indexing;
    /// Frames decoded in either direction, the last ones of the movie, and how long that took.
    std::uint32_t frames = 0;
    double linear = 0;
    double reverse = 0;
    /// Of each frame that was jumped to, nothing of the movie being decoded before; shortest first.
    std::vector<double> jumps;

    /// The least of inSeconds, sorted, that inPercent of them do not exceed.
    static double Percentile(const std::vector<double>& inSeconds, unsigned inPercent);
};

/// Indexes into a folder that is removed afterwards, then decodes; first everything once without measuring.
/// Throws CommandError and Interrupted.
Measurements Measure(const MeasuringOptions& inOptions);

}  // namespace VexmoraCommand
