// When each frame is shown.
#pragma once

#include <cstdint>
#include <span>

#include "Vexmora/Records.h"
#include "VexmoraHost/Details.h"
#include "sources/CodedVideo.h"

namespace VexmoraHost {

/// Fills presentation times and time codes into ioDetails.records, whose formats are known. A frame without a
/// time stamp is shown when the one before it ends; a frame before all time stamps likewise backwards. A time
/// code counts on from the group of pictures header by temporal_reference.
/// @param inFrames of each record, see SourceIndex; fewer records than these have details.
void AddTimes(const CodedVideo& inVideo, std::span<const std::uint32_t> inFrames,
              std::span<const Vexmora::FrameRecord> inRecords, MovieDetails& ioDetails);

/// The time code inFrames later; drop-frame counting leaves out numbers 0 and 1 of each minute but every
/// tenth.
/// @param inFramesPerSecond rounded up: 30 of 29.97.
TimeCode Later(const TimeCode& inTimeCode, std::uint32_t inFrames, std::uint32_t inFramesPerSecond);

}  // namespace VexmoraHost
