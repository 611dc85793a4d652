// The frames that the programs of random and reverse access ask for, the same in each, and what they report.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string_view>
#include <vector>

namespace Vexmora::Benchmark {

/// The order of access named on the command line.
/// @param inOrder "random": inCount seeded frames. "reverse": the last inCount frames, the last one first.
///                Anything else: the first inCount frames.
inline std::vector<int> FramesToVisit(std::string_view inOrder, int inCount, int inFrameCount) {
    std::vector<int> frames;
    std::mt19937 random(1);  // the standard says what it yields
    for (int i = 0; i < inCount; ++i) {
        if (inOrder == "random") {
            frames.push_back(static_cast<int>(random() % static_cast<std::uint32_t>(inFrameCount)));
        } else if (i < inFrameCount) {
            frames.push_back(inOrder == "reverse" ? inFrameCount - 1 - i : i);
        }
    }
    return frames;
}

/// Asks for each frame in turn and prints one JSON line: frames, seconds in all, the worst in milliseconds.
/// @param inVisit called with a frame number.
template <typename Visit>
void MeasureAccess(const std::vector<int>& inFrames, const Visit& inVisit) {
    using Clock = std::chrono::steady_clock;
    double worst = 0;
    double total = 0;
    for (const int frame : inFrames) {
        const auto start = Clock::now();
        inVisit(frame);
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        total += seconds;
        if (seconds > worst) worst = seconds;
    }
    std::printf("{\"frames\": %zu, \"seconds\": %.6f, \"worst_ms\": %.3f}\n", inFrames.size(), total,
                worst * 1000);
}

}  // namespace Vexmora::Benchmark
