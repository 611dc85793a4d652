// The status codes with which coded video is read and split into pictures.
#pragma once

#include <cstdint>

namespace Vexmora {

enum class [[nodiscard]] ReadStatus : std::int32_t{
    Ok = 0,
    /// The file belongs to a format that is not read.
    UnsupportedFormat = -3,
    /// The data ends here, or the picture does not fit in the buffer.
    EndOfData = -4,
    /// The file could not be opened, positioned or read.
    FileFailed = -6,
    /// The host's memory or cache failed, or the buffer has no room for another transport packet.
    ServiceFailed = -7,
    /// A transport packet does not begin where the one before it ends.
    LostSync = -11,
};

}  // namespace Vexmora
