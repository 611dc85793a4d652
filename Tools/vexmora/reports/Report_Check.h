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
    /// What became of the packets.
    VexmoraHost::StreamAccount stream;
    VexmoraHost::Scale scale = VexmoraHost::Scale::Full;
    /// List every range of frames, not only the first kListedRanges.
    bool listAll = false;

    static constexpr std::size_t kListedRanges = 50;

    /// Whether there are frames, nothing is wrong with any of them, and no packet of video is missing or not
    /// shown.
    bool IsSound() const;
    bool AreFramesSound() const;
    /// Of the shown video, under all PIDs that it had.
    VexmoraHost::PacketCounts VideoPackets() const;
    /// How many of the ranges are listed.
    std::size_t Listed() const;
};

/// For people: a line for each range of frames that are not sound, and the verdict last.
void WriteCheckText(const CheckReport& inReport);

/// One JSON object on one line.
void WriteCheckJson(const CheckReport& inReport);

}  // namespace VexmoraCommand
