// Numbers as people read them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "VexmoraHost/Details.h"

namespace VexmoraCommand {

/// "532 bytes", "3.9 MiB".
std::string HumanBytes(double inBytes);

/// "4,123,456".
std::string GroupedDigits(std::uint64_t inNumber);

/// Seconds of a presentation time, to a millionth; inNone where there is none.
std::string SecondsText(std::int64_t inTime, std::string_view inNone);

/// "01:02:03:04"; ";" before the pictures where some numbers are left out.
std::string TimeCodeText(const VexmoraHost::TimeCode& inTimeCode);

/// "0:07", "1:02:07": whole seconds, rounded up.
std::string ClockTime(double inSeconds);

}  // namespace VexmoraCommand
