// What the flags of the pictures say about time.
#pragma once

#include <cstdint>

#include "Indexer/Indexer_State.h"

namespace Vexmora {

/// Duration of the picture in a record, 90 kHz ticks (frame pictures with repeated fields or frames last
/// longer: ISO/IEC 13818-2, 6.3.10).
std::uint32_t PictureTicks90k(const IndexerState& inState, const FrameRecord& inRecord);

/// Frames per second times 1000 with 3:2 pulldown undone; 0 when it cannot be told.
std::uint32_t EffectiveFrameRate(const IndexerState& inState);

/// The field-order code of the header (kFieldOrder…).
std::uint32_t FieldOrder(const IndexerState& inState);

}  // namespace Vexmora
