// vexmora check: decodes every frame in order, throws it away and tells what was wrong with it.
#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "reports/Report_Check.h"
#include "terminal/FrameProgress.h"
#include "terminal/Interrupt.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Movie;

FrameFindings Decode(const std::string& inFile, Movie& ioMovie, const CheckOptions& inOptions) {
    const std::uint32_t frames = ioMovie.Info().frameCount;
    FrameProgress work(inFile, frames, inOptions.opening.quiet);
    FrameFindings findings;
    VexmoraHost::FrameRun run = ioMovie.Run(0, frames, inOptions.scale);
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        try {
            findings.Add(frame, *run.Next());
        } catch (const VexmoraHost::Error& error) {
            if (error.Status() != Vexmora_NoSuchFrame) throw;
            findings.AddMissing(frame);
        }
        work.Step();
    }
    return findings;
}

ExitStatus CheckOne(const RecordingFiles& inRecording, const CheckOptions& inOptions) {
    const InterruptGuard interrupt;  // also between one kind of work and the next
    Movie movie = OpenMovie(inRecording, inOptions.opening);
    const VexmoraHost::StreamAccount account =
        ReadDetails(movie, inRecording, inOptions.opening.quiet).account;
    const CheckReport report{.facts = GatherFacts(inRecording, movie),
                             .index = FindInIndex(movie),
                             .frames = Decode(inRecording.name, movie, inOptions),
                             .stream = account,
                             .scale = inOptions.scale,
                             .listAll = inOptions.all};
    (inOptions.json ? WriteCheckJson : WriteCheckText)(report);
    FlushOutput();
    return report.IsSound() ? ExitStatus::Done : ExitStatus::Failed;
}

}  // namespace

ExitStatus RunCheck(const CheckOptions& inOptions) {
    return ForEachRecording(inOptions.files, inOptions.opening, [&](const RecordingFiles& inRecording) {
        return CheckOne(inRecording, inOptions);
    });
}

}  // namespace VexmoraCommand
