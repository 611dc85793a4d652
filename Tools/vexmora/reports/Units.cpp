// Bytes, digits and times as text.
#include "reports/Units.h"

#include <fmt/core.h>

#include <cmath>

namespace VexmoraCommand {

std::string HumanBytes(double inBytes) {
    constexpr const char* kUnits[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    if (inBytes < 1024) return fmt::format("{:.0f} {}", inBytes, kUnits[0]);
    std::size_t unit = 0;
    // 1023.95 would be shown as 1024.0.
    while (inBytes >= 1023.95 && unit + 1 < std::size(kUnits)) {
        inBytes /= 1024;
        ++unit;
    }
    return fmt::format("{:.1f} {}", inBytes, kUnits[unit]);
}

std::string GroupedDigits(std::uint64_t inNumber) {
    std::string digits = fmt::format("{}", inNumber);
    for (std::size_t fromEnd = 3; fromEnd < digits.size(); fromEnd += 4)
        digits.insert(digits.size() - fromEnd, 1, ',');
    return digits;
}

std::string SecondsText(std::int64_t inTime, std::string_view inNone) {
    constexpr double kTicksPerSecond = 90'000;
    if (inTime == VexmoraHost::kNoTime) return std::string(inNone);
    return fmt::format("{:.6f}", static_cast<double>(inTime) / kTicksPerSecond);
}

std::string TimeCodeText(const VexmoraHost::TimeCode& inTimeCode) {
    return fmt::format("{:02}:{:02}:{:02}{}{:02}", inTimeCode.hours, inTimeCode.minutes, inTimeCode.seconds,
                       inTimeCode.isDropFrame ? ';' : ':', inTimeCode.pictures);
}

std::string ClockTime(double inSeconds) {
    // Beyond a thousand hours the seconds say nothing any more, and the number stays an integer.
    const auto seconds = static_cast<std::uint64_t>(std::ceil(std::fmin(std::fmax(inSeconds, 0.0), 3.6e6)));
    if (seconds < 3600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace VexmoraCommand
