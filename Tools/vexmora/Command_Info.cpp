// vexmora info: what is in a file.
#include "Commands.h"
#include "Reports.h"
#include "StandardOutput.h"

namespace Vexmora {

ExitStatus RunInfo(const InfoOptions& inOptions) {
    const StreamIndex index = IndexWithProgress(inOptions.file, inOptions.quiet);
    if (inOptions.json) {
        WriteJson(GatherFacts(inOptions.file, index), inOptions.records ? &index.records : nullptr);
    } else if (inOptions.records) {
        WriteCsv(index.records);
    } else {
        WriteText(GatherFacts(inOptions.file, index));
    }
    FlushOutput();
    return ExitStatus::Done;
}

}  // namespace Vexmora
