// vexmora export: frames as YUV4MPEG2.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "commands/Commands.h"
#include "files/OutputFile.h"
#include "movies/FrameFormats.h"
#include "movies/FrameNumbers.h"
#include "pictures/FieldCadence.h"
#include "pictures/PlanarSamples.h"
#include "pictures/VideoFormat.h"
#include "reports/DamageSummary.h"
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Movie;
using VexmoraHost::Scale;
using VexmoraHost::SharedPicture;

bool IsProgressive(const Vexmora::FrameRecord& inRecord) {
    return !IsValid(inRecord) || (inRecord.flags & Vexmora::kProgressiveFrameBit) != 0;
}

std::vector<FieldFlags> FlagsOf(const Movie& inMovie, const FrameFormats& inFormats,
                                const FrameRange& inRange) {
    std::vector<FieldFlags> flags;
    for (std::uint32_t frame = inRange.first; frame <= inRange.last; ++frame) {
        const std::uint16_t bits = inMovie.Records().at(inMovie.Info().firstFrame + frame).flags;
        flags.push_back({.progressiveSequence = inFormats.At(frame).isProgressive,
                         .topFieldFirst = (bits & Vexmora::kTopFieldFirstBit) != 0,
                         .repeatFirstField = (bits & Vexmora::kRepeatFirstFieldBit) != 0});
    }
    return flags;
}

// The frames to write, by their place in the range.
std::vector<ShownFrame> FramesToWrite(const std::vector<FieldFlags>& inFlags, bool inRepeatFields) {
    if (inRepeatFields) return ShowFields(inFlags);
    std::vector<ShownFrame> frames;
    for (std::uint32_t frame = 0; frame < inFlags.size(); ++frame) frames.push_back({frame, frame});
    return frames;
}

// p, t or b, or ? where neither holds for all frames: the format's own letter for a mixture asks for more
// than most readers take. Lines of quarter-size pictures are of neither field alone.
char Interlacing(const Movie& inMovie, const ExportOptions& inOptions, const FieldFlags& inFirst) {
    const FieldOrder order = FieldOrderOf(inMovie.Info().index);
    const auto& records = inMovie.Records();
    if (order == FieldOrder::Progressive) return 'p';
    if (inOptions.repeatFields) return inFirst.topFieldFirst ? 't' : 'b';
    if (std::all_of(records.begin(), records.end(), IsProgressive)) return 'p';
    if (order == FieldOrder::Mixed || inOptions.scale == Scale::Quarter) return '?';
    return order == FieldOrder::TopFirst ? 't' : 'b';
}

std::string Header(const Movie& inMovie, const ExportOptions& inOptions,
                   const VexmoraHost::VideoFormat& inFormat, const VexmoraHost::Plane& inLuma,
                   char inInterlacing) {
    const bool isNominal = inOptions.repeatFields || inOptions.rate == ExportRate::Nominal;
    const Ratio rate = isNominal ? FrameRate(inFormat) : EffectiveRate(inMovie.Info(), inFormat);
    const Ratio aspect = SampleAspect(inFormat, inOptions.scale);
    return fmt::format("YUV4MPEG2 W{} H{} F{}:{} I{} A{}:{} C420mpeg2\n", inLuma.width, inLuma.height,
                       rate.numerator, rate.denominator, inInterlacing, aspect.numerator, aspect.denominator);
}

void RefuseChange(const ExportOptions& inOptions, const FrameFormats& inFormats, const FrameRange& inRange) {
    const auto change = inFormats.ChangeIn(inRange);
    if (!change) return;
    const auto text = [](const VexmoraHost::VideoFormat& inFormat) {
        return fmt::format("{} x {}, aspect code {}, {:.3f} frames/s", inFormat.width, inFormat.height,
                           unsigned{inFormat.aspectRatioCode}, FrameRate(inFormat).Value());
    };
    throw CommandError(
        ExitStatus::Failed, inOptions.file,
        fmt::format("its pictures change at frame {}, from {} to {}", *change,
                    text(inFormats.At(inRange.first)), text(inFormats.At(*change))),
        fmt::format("export --range {}..{} and what follows by itself", inRange.first, *change - 1));
}

// Gives the pictures of a run by their place in it; never goes back by more than one.
class Pictures {
  public:
    explicit Pictures(VexmoraHost::FrameRun inRun) : mRun(std::move(inRun)) {}

    template <typename OnNext>
    const VexmoraHost::Picture& At(std::uint32_t inPlace, const OnNext& inOnNext) {
        while (inPlace >= mRead) {
            mLatest.at(mRead % 2) = mRun.Next();
            inOnNext(mRead, *mLatest.at(mRead % 2));
            ++mRead;
        }
        return *mLatest.at(inPlace % 2);
    }

  private:
    VexmoraHost::FrameRun mRun;
    std::array<SharedPicture, 2> mLatest;
    std::uint32_t mRead = 0;
};

}  // namespace

ExitStatus RunExport(const ExportOptions& inOptions) {
    if (inOptions.repeatFields && inOptions.scale == Scale::Quarter) {
        throw CommandError(ExitStatus::Usage, inOptions.file, "at quarter size there are no fields to repeat",
                           "choose --scale full or half, or leave --fields out");
    }
    const RecordingFiles recording = FindRecording(inOptions.file, inOptions.opening);
    Movie movie = OpenMovie(recording, inOptions.opening);
    const FrameRange range = ParseFrameRange(inOptions.range, inOptions.file, movie.Info().frameCount,
                                             TimesOf(movie, recording, inOptions.opening.quiet));
    const FrameFormats formats(movie);
    RefuseChange(inOptions, formats, range);
    const std::vector<FieldFlags> flags = FlagsOf(movie, formats, range);

    OutputFile file(inOptions.out, recording);
    DamageSummary damage;
    FrameProgress work(inOptions.file, range.Count(), inOptions.opening.quiet);
    Pictures pictures(movie.Run(range.first, range.Count(), inOptions.scale));
    const auto onNext = [&](std::uint32_t inPlace, const VexmoraHost::Picture& inPicture) {
        if (inPlace == 0) {
            file.Write(Header(movie, inOptions, formats.At(range.first), inPicture.luma,
                              Interlacing(movie, inOptions, flags.front())));
        }
        damage.Note(range.first + inPlace, inPicture);
        work.Step();
    };
    for (const ShownFrame& frame : FramesToWrite(flags, inOptions.repeatFields)) {
        const VexmoraHost::Picture& top = pictures.At(frame.top, onNext);
        const VexmoraHost::Picture& bottom = pictures.At(frame.bottom, onNext);
        file.Write("FRAME\n");
        ForEachRow(top, bottom,
                   [&](const std::uint8_t* inRow, std::uint32_t inBytes) { file.Write(inRow, inBytes); });
    }
    file.Commit();
    return damage.Tell(inOptions.file);
}

}  // namespace VexmoraCommand
