// Measuring: runs of the work in question between two looks at the clock.
#include "reports/Measurements.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "CommandError.h"
#include "VexmoraHost/Host.h"
#include "files/TemporaryFolder.h"
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Movie;

// Indexing is repeated until it took this long in all, but not for ever.
constexpr double kIndexingSeconds = 1;
constexpr std::size_t kMostIndexingRuns = 9;

template <typename Work>
double SecondsOf(const Work& inWork) {
    const auto start = std::chrono::steady_clock::now();
    inWork();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void ForgetWhatWasRead() {
    VexmoraHost::DropFrames();
    VexmoraHost::DropBlocks();
}

std::vector<double> MeasureIndexing(const RecordingFiles& inRecording, OpeningOptions inOptions) {
    inOptions.force = true;
    const auto index = [&] { static_cast<void>(OpenMovie(inRecording, inOptions)); };
    index();
    std::vector<double> runs;
    double total = 0;
    do {
        ForgetWhatWasRead();
        runs.push_back(SecondsOf(index));
        total += runs.back();
    } while (total < kIndexingSeconds && runs.size() < kMostIndexingRuns);
    return runs;
}

// The decoding to be measured, of one movie.
class Decoding {
  public:
    Decoding(const MeasuringOptions& inOptions, Movie& ioMovie)
        : mOptions(inOptions),
          mMovie(ioMovie),
          mCount(ioMovie.Info().frameCount),
          mRun(std::min(inOptions.frames, mCount)),
          mWork(inOptions.file, std::uint64_t{mRun} * 3 + inOptions.frames, inOptions.opening.quiet) {}

    void Measure(Measurements& outResult) {
        Linear();  // so that memory, code and file are warm
        outResult.frames = mRun;
        ForgetWhatWasRead();
        outResult.linear = SecondsOf([&] { Linear(); });
        ForgetWhatWasRead();
        outResult.reverse = SecondsOf([&] { Reverse(); });
        ForgetWhatWasRead();
        outResult.jumps = Jumps();
    }

  private:
    void Linear() {
        VexmoraHost::FrameRun run = mMovie.Run(mCount - mRun, mRun, mOptions.scale);
        while (run.Next() != nullptr) mWork.Step();
    }

    void Reverse() {
        for (std::uint32_t i = 1; i <= mRun; ++i) Decode(mCount - i);
    }

    std::vector<double> Jumps() {
        std::mt19937_64 random(mOptions.seed);
        std::vector<double> seconds;
        for (std::uint32_t i = 0; i < mOptions.frames; ++i) {
            const auto frame = static_cast<std::uint32_t>(random() % mCount);
            VexmoraHost::DropFrames();
            seconds.push_back(SecondsOf([&] { Decode(frame); }));
        }
        std::sort(seconds.begin(), seconds.end());
        return seconds;
    }

    void Decode(std::uint32_t inFrame) {
        static_cast<void>(mMovie.Frame(inFrame, mOptions.scale));
        mWork.Step();
    }

    const MeasuringOptions& mOptions;
    Movie& mMovie;
    const std::uint32_t mCount;
    const std::uint32_t mRun;
    FrameProgress mWork;
};

}  // namespace

double Measurements::Percentile(const std::vector<double>& inSeconds, unsigned inPercent) {
    const std::size_t rank = (inSeconds.size() * inPercent + 99) / 100;
    return inSeconds.at(std::max<std::size_t>(rank, 1) - 1);
}

Measurements Measure(const MeasuringOptions& inOptions) {
    const TemporaryFolder folder("vexmora-bench");
    Measurements result;
    const RecordingFiles recording = FindRecording(inOptions.file, inOptions.opening);
    OpeningOptions opening = inOptions.opening;
    opening.indexDir = folder.Path();
    result.indexing = MeasureIndexing(recording, opening);
    Movie movie = OpenMovie(recording, opening);
    if (movie.Info().frameCount == 0)
        throw CommandError(ExitStatus::Failed, inOptions.file, "has no usable frame", "measure another file");
    result.streamBytes = movie.Info().index.streamLength;
    result.frameCount = movie.Info().frameCount;
    result.width = movie.Info().file.width;
    result.height = movie.Info().file.height;
    result.frameCacheBytes = VexmoraHost::kDefaultFrameCacheBytes;
    result.processors = std::thread::hardware_concurrency();
    Decoding(inOptions, movie).Measure(result);
    return result;
}

}  // namespace VexmoraCommand
