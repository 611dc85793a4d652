// vexmora export: frames as a YUV4MPEG2 stream, which other programs read.
#include <fmt/core.h>

#include "Commands.h"
#include "DamageNotes.h"
#include "FrameNumbers.h"
#include "FrameWork.h"
#include "Geometry.h"
#include "OutputFile.h"
#include "PlanarSamples.h"
#include "StreamFacts.h"

namespace Vexmora {

namespace {

using VexmoraHost::Scale;

/// Lines of quarter-size pictures are of neither field alone.
char Interlacing(const VexmoraHost::MovieInfo& inInfo, Scale inScale) {
    const char order = FieldOrderName(inInfo.index).front();  // p, t, b or m, as the format has them
    return order != 'p' && inScale == Scale::Quarter ? '?' : order;
}

std::string Header(const VexmoraHost::MovieInfo& inInfo, const VexmoraHost::Plane& inLuma, Scale inScale) {
    const Ratio rate = FrameRate(inInfo);
    const Ratio aspect = SampleAspect(inInfo, inScale);
    return fmt::format("YUV4MPEG2 W{} H{} F{}:{} I{} A{}:{} C420mpeg2\n", inLuma.width, inLuma.height,
                       rate.numerator, rate.denominator, Interlacing(inInfo, inScale), aspect.numerator,
                       aspect.denominator);
}

}  // namespace

ExitStatus RunExport(const ExportOptions& inOptions) {
    VexmoraHost::Movie movie = OpenMovie(inOptions.file, inOptions.opening);
    const FrameRange range = ParseFrameRange(inOptions.range, inOptions.file, movie.Info().frameCount);
    OutputFile file(inOptions.out);
    DamageNotes damage;
    FrameWork work(inOptions.file, range.Count(), inOptions.opening.quiet);
    for (std::uint32_t frame = range.first; frame <= range.last; ++frame) {
        const VexmoraHost::SharedPicture picture = movie.Frame(frame, inOptions.scale);
        if (frame == range.first) file.Write(Header(movie.Info(), picture->luma, inOptions.scale));
        file.Write("FRAME\n");
        ForEachRow(*picture,
                   [&](const std::uint8_t* inRow, std::uint32_t inBytes) { file.Write(inRow, inBytes); });
        damage.Note(frame, *picture);
        work.Step();
    }
    file.Commit();
    return damage.Tell(inOptions.file);
}

}  // namespace Vexmora
