// The file system's preferred transfer size.
#include "Orvet/DiskUtils.h"

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <string>

#include "Orvet/PathUtils.h"

namespace Orvet {

std::int32_t DiskUtils::GetEfficientDiskBufferSizeFromPath(const UTF16String& inPath,
                                                           std::uint32_t& outSize) {
    const std::string path = PathUtils::ToNative(inPath);
    if (path.find('\0') != std::string::npos) return -EINVAL;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return -errno;
    constexpr blksize_t kLeast = 4096;
    constexpr blksize_t kMost = blksize_t{1} << 20;
    outSize = std::bit_ceil(static_cast<std::uint32_t>(std::clamp(status.st_blksize, kLeast, kMost)));
    return 0;
}

}  // namespace Orvet
