// Opening a recording that the host takes apart itself.
#pragma once

#include <memory>

#include "opening/OpenedMedia.h"

namespace VexmoraHost {

/// Makes the pictures of a scan available. Throws Error and std::bad_alloc.
std::unique_ptr<OpenedMedia> OpenScan(const std::shared_ptr<const ScannedRecording>& inScan);

}  // namespace VexmoraHost
