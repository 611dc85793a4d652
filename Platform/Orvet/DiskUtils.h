// What is worth knowing about the disk that a file lies on.
#pragma once

#include <cstdint>

#include "Vexmora/UTF16String.h"

namespace Orvet::DiskUtils {

/// The transfer size, in bytes, that the file system at inPath handles best: a power of two from 4096 to 1
/// MiB. Negative error number, and outSize untouched, when inPath cannot be examined.
[[nodiscard]] std::int32_t GetEfficientDiskBufferSizeFromPath(const UTF16String& inPath,
                                                              std::uint32_t& outSize);

}  // namespace Orvet::DiskUtils
