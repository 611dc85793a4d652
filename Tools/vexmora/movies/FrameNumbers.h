// Frame numbers and ranges as the command line has them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "movies/FrameTimes.h"

namespace VexmoraCommand {

/// The numbers that inText lists, in its order: "N", "A-B" (both ends, either way round) and commas between.
/// Each may be a time as inFindTime takes it. Throws CommandError (Usage) with inFile when it is not such a
/// list, a number is not below inFrameCount, or a time does not name one frame.
std::vector<std::uint32_t> ParseFrameList(std::string_view inText, const std::string& inFile,
                                          std::uint32_t inFrameCount, const FindTime& inFindTime);

/// Consecutive frames, first to last.
struct FrameRange {
    std::uint32_t first = 0;
    std::uint32_t last = 0;

    std::uint32_t Count() const { return last - first + 1; }
};

/// "A..B" or "A,B", of numbers and times, or "A:B" of numbers; both ends; either may be left out for the
/// first or last frame. Empty text is the whole file. Throws as ParseFrameList does, and CommandError
/// (Failed) when the file has no frames.
FrameRange ParseFrameRange(std::string_view inText, const std::string& inFile, std::uint32_t inFrameCount,
                           const FindTime& inFindTime = {});

}  // namespace VexmoraCommand
