// The forms in which a stream is reported on standard output.
#pragma once

#include <vector>

#include "reports/StreamFacts.h"

namespace VexmoraCommand {

/// For people: one aligned line a fact.
void WriteText(const StreamFacts& inFacts);

/// One JSON object.
/// @param inRecords null, or the records to list in it.
void WriteJson(const StreamFacts& inFacts, const std::vector<Vexmora::FrameRecord>* inRecords);

/// A header line, then one line a record.
void WriteCsv(const std::vector<Vexmora::FrameRecord>& inRecords);

}  // namespace VexmoraCommand
