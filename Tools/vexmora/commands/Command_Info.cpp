// vexmora info: what is in a file.
#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "reports/Reports.h"

namespace VexmoraCommand {

ExitStatus RunInfo(const InfoOptions& inOptions) {
    const RecordingFiles recording = FindRecording(inOptions.file, inOptions.opening);
    VexmoraHost::Movie movie = OpenMovie(recording, inOptions.opening);
    StreamFacts facts = GatherFacts(recording, movie);
    const bool wantsDetails = inOptions.json || inOptions.records || inOptions.details;
    const VexmoraHost::MovieDetails* const details =
        wantsDetails ? &ReadDetails(movie, recording, inOptions.opening.quiet) : movie.KnownDetails();
    if (details != nullptr) {
        for (const VexmoraHost::FormatSpan& span : details->spans)
            facts.spanOrders.push_back(FieldOrderIn(movie, span, details->formats.at(span.format)));
    }
    if (inOptions.json) {
        WriteJson(facts, *details, inOptions.records ? &movie.Records() : nullptr);
    } else if (inOptions.records) {
        WriteCsv(movie.Records(), *details);
    } else {
        WriteText(facts, details);
    }
    FlushOutput();
    return ExitStatus::Done;
}

}  // namespace VexmoraCommand
