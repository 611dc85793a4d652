// Numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace VexmoraCommand {

/// "532 bytes", "3.9 MiB".
std::string HumanBytes(double inBytes);

/// "4,123,456".
std::string GroupedDigits(std::uint64_t inNumber);

/// "0:07", "1:02:07": whole seconds, rounded up.
std::string ClockTime(double inSeconds);

}  // namespace VexmoraCommand
