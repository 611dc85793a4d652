// The forms in which a stream is reported on standard output.
#pragma once

#include <vector>

#include "reports/StreamFacts.h"

namespace VexmoraCommand {

/// For people: one aligned line a fact.
/// @param inDetails null where they are not asked for.
void WriteText(const StreamFacts& inFacts, const VexmoraHost::MovieDetails* inDetails);

/// One JSON object.
/// @param inRecords null, or the records to list in it.
void WriteJson(const StreamFacts& inFacts, const VexmoraHost::MovieDetails& inDetails,
               const std::vector<Vexmora::FrameRecord>* inRecords);

/// A header line, then one line a record.
void WriteCsv(const std::vector<Vexmora::FrameRecord>& inRecords, const VexmoraHost::MovieDetails& inDetails);

}  // namespace VexmoraCommand
