// The flags that a record's picture has for C programs.
#pragma once

#include <cstdint>

#include "Vexmora/Records.h"
#include "vexmora.h"

namespace VexmoraHost {

inline std::uint8_t FlagsOf(const Vexmora::FrameRecord& inRecord) {
    unsigned flags = 0;
    if (inRecord.flags & Vexmora::kProgressiveFrameBit) flags |= VEXMORA_PROGRESSIVE_FRAME;
    if (inRecord.flags & Vexmora::kTopFieldFirstBit) flags |= VEXMORA_TOP_FIELD_FIRST;
    if (inRecord.flags & Vexmora::kRepeatFirstFieldBit) flags |= VEXMORA_REPEAT_FIRST_FIELD;
    if (inRecord.flags & Vexmora::kBrokenLinkBit) flags |= VEXMORA_BROKEN_LINK;
    return static_cast<std::uint8_t>(flags);
}

}  // namespace VexmoraHost
