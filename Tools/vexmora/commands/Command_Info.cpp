// vexmora info: what is in a file.
#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "reports/Reports.h"

namespace VexmoraCommand {

ExitStatus RunInfo(const InfoOptions& inOptions) {
    const VexmoraHost::Movie movie = OpenMovie(inOptions.file, inOptions.opening);
    if (inOptions.json) {
        WriteJson(GatherFacts(inOptions.file, movie), inOptions.records ? &movie.Records() : nullptr);
    } else if (inOptions.records) {
        WriteCsv(movie.Records());
    } else {
        WriteText(GatherFacts(inOptions.file, movie));
    }
    FlushOutput();
    return ExitStatus::Done;
}

}  // namespace VexmoraCommand
