// vexmora export: frames as a YUV4MPEG2 stream, which other programs read.
#include <fmt/core.h>

#include <algorithm>

#include "commands/Commands.h"
#include "files/OutputFile.h"
#include "movies/FrameNumbers.h"
#include "pictures/PlanarSamples.h"
#include "pictures/VideoFormat.h"
#include "reports/DamageSummary.h"
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Scale;

bool IsProgressive(const Vexmora::FrameRecord& inRecord) {
    return !IsValid(inRecord) || (inRecord.flags & Vexmora::kProgressiveFrameBit) != 0;
}

// p, t or b, or ? where neither holds for all frames: the format's own letter for a mixture asks for more
// than most readers take. Lines of quarter-size pictures are of neither field alone.
char Interlacing(const VexmoraHost::Movie& inMovie, Scale inScale) {
    const FieldOrder order = FieldOrderOf(inMovie.Info().index);
    const auto& records = inMovie.Records();
    if (order == FieldOrder::Progressive || std::all_of(records.begin(), records.end(), IsProgressive))
        return 'p';
    if (order == FieldOrder::Mixed || inScale == Scale::Quarter) return '?';
    return order == FieldOrder::TopFirst ? 't' : 'b';
}

std::string Header(const VexmoraHost::Movie& inMovie, const VexmoraHost::Plane& inLuma, Scale inScale) {
    const Ratio rate = FrameRate(inMovie.Info());
    const Ratio aspect = SampleAspect(inMovie.Info(), inScale);
    return fmt::format("YUV4MPEG2 W{} H{} F{}:{} I{} A{}:{} C420mpeg2\n", inLuma.width, inLuma.height,
                       rate.numerator, rate.denominator, Interlacing(inMovie, inScale), aspect.numerator,
                       aspect.denominator);
}

}  // namespace

ExitStatus RunExport(const ExportOptions& inOptions) {
    VexmoraHost::Movie movie = OpenMovie(inOptions.file, inOptions.opening);
    const FrameRange range = ParseFrameRange(inOptions.range, inOptions.file, movie.Info().frameCount);
    OutputFile file(inOptions.out, inOptions.file);
    DamageSummary damage;
    FrameProgress work(inOptions.file, range.Count(), inOptions.opening.quiet);
    VexmoraHost::FrameRun run = movie.Run(range.first, range.Count(), inOptions.scale);
    for (std::uint32_t frame = range.first; frame <= range.last; ++frame) {
        const VexmoraHost::SharedPicture picture = run.Next();
        if (frame == range.first) file.Write(Header(movie, picture->luma, inOptions.scale));
        file.Write("FRAME\n");
        ForEachRow(*picture,
                   [&](const std::uint8_t* inRow, std::uint32_t inBytes) { file.Write(inRow, inBytes); });
        damage.Note(frame, *picture);
        work.Step();
    }
    file.Commit();
    return damage.Tell(inOptions.file);
}

}  // namespace VexmoraCommand
