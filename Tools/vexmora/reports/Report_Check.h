// The forms in which the findings of a check are reported on standard output.
#pragma once

#include "reports/FrameFindings.h"
#include "reports/StreamFacts.h"

namespace VexmoraCommand {

/// All that is known once every frame of a file was decoded.
struct CheckReport {
    StreamFacts facts;
    IndexFindings index;
    FrameFindings frames;
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    /// List every range of frames, not only the first kListedRanges.
    bool listAll = false;

    static constexpr std::size_t kListedRanges = 50;

    /// Whether there are frames and nothing is wrong with any of them.
    bool IsSound() const;
    /// How many of the ranges are listed.
    std::size_t Listed() const;
};

/// For people: a line for each range of frames that are not sound, and the verdict last.
void WriteCheckText(const CheckReport& inReport);

/// One JSON object on one line.
void WriteCheckJson(const CheckReport& inReport);

}  // namespace VexmoraCommand
