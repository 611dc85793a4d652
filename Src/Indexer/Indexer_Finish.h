// Which frames of a finished index a host may use.
#pragma once

#include <cstdint>

#include "Indexer/Indexer_State.h"

namespace Vexmora {

/// The display indices of the first and the last frame that a host may use.
struct UsableFrames {
    std::int64_t first;
    std::int64_t last;
};

/// Finds the usable frames of an index with at least one record, and clears the types of all records without
/// data (each then counts in pictureCount).
UsableFrames FindUsableFrames(IndexerState& ioState, bool inIsTransportStream);

}  // namespace Vexmora
