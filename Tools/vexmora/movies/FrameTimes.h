// Times in place of frame numbers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "VexmoraHost/Movie.h"

namespace VexmoraCommand {

/// The frames that a text names; nothing where it is no time. One of several names more than one frame.
using FindTime = std::function<std::optional<std::vector<std::uint32_t>>(std::string_view inText)>;

/// Understands two forms.
/// - HH:MM:SS:FF (or ;FF): the frames whose time code the stream gives so (ISO/IEC 13818-2, 6.3.8); where
///   there is none, that many seconds of the nominal rate, rounded to whole frames, and frames from frame 0.
/// - HH:MM:SS.mmm, or without the fraction: the frame that is shown that long after the first one begins, by
///   the presentation times where all frames have growing ones, else by the effective rate.
/// inDetails is asked for the recording's details with each time. No frame is named by a time behind them.
/// @param inInfo outlives the function.
FindTime TimesOf(const VexmoraHost::MovieInfo& inInfo,
                 std::function<const VexmoraHost::MovieDetails&()> inDetails);

}  // namespace VexmoraCommand
