// From a file to the frame index of its video.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Vexmora/Records.h"

namespace Vexmora {

/// The index of one file's video.
struct StreamIndex {
    IndexHeader header{};
    std::vector<FrameRecord> records;
};

/// Told the bytes read so far and the bytes of the file. Answers false to stop.
using IndexProgress = std::function<bool(std::uint64_t inDone, std::uint64_t inTotal)>;

/// Reads inFile once, from start to end, and indexes its video.
/// Throws Problem (Failed when the file cannot be read, NotSupported when it cannot be indexed) and
/// Interrupted when inProgress stopped it.
StreamIndex IndexStream(const std::string& inFile, const IndexProgress& inProgress);

/// IndexStream with a progress bar, ended cleanly by Ctrl-C.
/// @param inQuiet no progress bar.
StreamIndex IndexWithProgress(const std::string& inFile, bool inQuiet);

}  // namespace Vexmora
