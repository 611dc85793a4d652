// The audio alignment plan: when a stream has audio and video, audio alone, or video alone.
#pragma once

#include <vector>

#include "Indexer/Indexer_State.h"
#include "Vexmora/Records.h"

namespace Vexmora {

/// Builds the plan from the time stamps that were collected; completes picturePts on the way. Empty when
/// there is nothing to align, or when the time stamps jump too often or too far to be believed.
std::vector<AudioAlignmentRun> BuildAlignmentPlan(IndexerState& ioState);

}  // namespace Vexmora
