// What a scan tells of a recording, in the words of the interface.
#pragma once

#include <vector>

#include "VexmoraHost/Movie.h"
#include "opening/ScannedRecording.h"

namespace VexmoraHost {

/// @param inRecords of the movie: those of the scan, or those that the library made of the same file.
MovieDetails DetailsOf(const ScannedRecording& inScan, const MovieInfo& inInfo,
                       const std::vector<Vexmora::FrameRecord>& inRecords);

}  // namespace VexmoraHost
