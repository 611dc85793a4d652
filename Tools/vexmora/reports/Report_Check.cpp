// The findings of a check as text and as JSON.
#include "reports/Report_Check.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "CommandError.h"
#include "files/StandardOutput.h"
#include "movies/Scales.h"
#include "reports/Units.h"

namespace VexmoraCommand {

namespace {

using Json = nlohmann::ordered_json;

// "1 frame", "1,234 frames".
std::string Counted(std::uint64_t inCount, std::string_view inOne, std::string_view inSeveral) {
    return fmt::format("{} {}", GroupedDigits(inCount), inCount == 1 ? inOne : inSeveral);
}

std::string Counted(std::uint64_t inCount, std::string_view inOne) {
    return Counted(inCount, inOne, fmt::format("{}s", inOne));
}

std::string_view Meaning(Vexmora_Status inStatus) {
    switch (inStatus) {
        case Vexmora_Ok:
            return "decoded";
        case Vexmora_Failure:
            return "reading failed";
        case Vexmora_Unsupported:
            return "not supported";
        case Vexmora_NoSequenceHeader:
            return "reading or decoding failed";
        case Vexmora_NoSuchFrame:
            return "not found where the index says";
        case Vexmora_NoCodedPicture:
            return "no coded picture";
        case Vexmora_EmptyRecord:
            return "empty";
        default:
            return "unexpected";
    }
}

std::string RangeText(const FindingRange& inRange) {
    const bool isOne = inRange.first == inRange.last;
    const std::string frames = isOne ? fmt::format("frame {}", inRange.first)
                                     : fmt::format("frames {}-{}", inRange.first, inRange.last);
    switch (inRange.finding) {
        case Finding::Inherited:
            return frames + ": predicted from damaged or missing pictures";
        case Finding::Damaged:
            return fmt::format("{}: {} damaged", frames, Counted(inRange.macroblocks, "macroblock"));
        case Finding::Undecodable:
            return fmt::format("{}: could not be decoded (status {}, {})", frames,
                               static_cast<int>(inRange.status), Meaning(inRange.status));
        case Finding::Missing:
            return frames + ": not in the stream" +
                   (inRange.standIn ? fmt::format(", frame {} stands in", *inRange.standIn) : "");
        default:
            return frames + ": sound";
    }
}

// Phrases of the counts that are not 0, one behind the other.
class Enumeration {
  public:
    void Add(std::uint64_t inCount, const std::string& inPhrase) {
        if (inCount > 0) mText += (mText.empty() ? "" : ", ") + inPhrase;
    }
    const std::string& Text() const { return mText; }

  private:
    std::string mText;
};

std::string IndexText(const IndexFindings& inIndex) {
    Enumeration text;
    text.Add(inIndex.holes, fmt::format("{} without a picture in {}", Counted(inIndex.holes, "frame"),
                                        Counted(inIndex.gaps, "gap")));
    text.Add(inIndex.missingReferences,
             Counted(inIndex.missingReferences, "frame lacks", "frames lack") + " a reference");
    text.Add(inIndex.brokenLinks,
             Counted(inIndex.brokenLinks, "frame was", "frames were") + " cut off from the group before");
    text.Add(inIndex.picturesBefore, Counted(inIndex.picturesBefore, "picture") + " before the first frame");
    text.Add(inIndex.picturesBehind, Counted(inIndex.picturesBehind, "picture") + " behind the last frame");
    return text.Text();
}

std::string StatusText(const FrameFindings& inFrames) {
    Enumeration text;
    for (const auto& [status, count] : inFrames.Statuses()) {
        text.Add(count, fmt::format("{} x {} ({})", GroupedDigits(count), static_cast<int>(status),
                                    Meaning(status)));
    }
    return text.Text();
}

bool HasErrors(const VexmoraHost::PacketCounts& inCounts) {
    return inCounts.continuityErrors > 0 || inCounts.scrambled > 0 || inCounts.transportErrors > 0;
}

std::string PacketsText(const VexmoraHost::PacketCounts& inCounts) {
    Enumeration text;
    text.Add(inCounts.continuityErrors, Counted(inCounts.continuityErrors, "continuity error"));
    text.Add(inCounts.scrambled, Counted(inCounts.scrambled, "scrambled packet"));
    text.Add(inCounts.transportErrors,
             Counted(inCounts.transportErrors, "packet") + " with transport errors");
    return text.Text();
}

std::string StreamText(const VexmoraHost::StreamAccount& inStream) {
    Enumeration text;
    text.Add(inStream.videoPacketsNotShown,
             Counted(inStream.videoPacketsNotShown, "video packet belongs", "video packets belong") +
                 " to no frame");
    text.Add(inStream.skippedBytes,
             Counted(inStream.skippedBytes, "byte belongs", "bytes belong") + " to no packet");
    text.Add(inStream.losses, fmt::format("packets lost sight of {}", Counted(inStream.losses, "time")));
    return text.Text();
}

Json StreamJson(const VexmoraHost::StreamAccount& inStream) {
    Json pids = Json::array();
    for (const auto& [pid, counts] : inStream.packets) {
        pids.push_back({{"pid", pid},
                        {"packets", counts.packets},
                        {"continuity_errors", counts.continuityErrors},
                        {"scrambled", counts.scrambled},
                        {"transport_errors", counts.transportErrors}});
    }
    return {{"skipped_bytes", inStream.skippedBytes},
            {"losses", inStream.losses},
            {"video_packets_not_shown", inStream.videoPacketsNotShown},
            {"pids", pids}};
}

std::string Verdict(const CheckReport& inReport) {
    const FrameFindings& frames = inReport.frames;
    const std::string all = Counted(inReport.facts.frameCount, "frame");
    if (inReport.facts.frameCount == 0) return "damaged: no frame is usable";
    if (inReport.IsSound()) return fmt::format("sound: {}", all);
    if (inReport.AreFramesSound()) return fmt::format("damaged: {} decode, but not all video is there", all);
    Enumeration text;
    const auto add = [&](Finding inFinding, std::string_view inWhat) {
        const std::uint64_t count = frames.Count(inFinding);
        text.Add(count, fmt::format("{} {}", GroupedDigits(count), inWhat));
    };
    add(Finding::Damaged, "damaged");
    add(Finding::Undecodable, "not decodable");
    add(Finding::Missing, "missing");
    add(Finding::Inherited, "predicted from those");
    return fmt::format("damaged: of {} {}", all, text.Text());
}

Json RangeJson(const FindingRange& inRange) {
    Json json = {{"first", inRange.first}, {"last", inRange.last}, {"finding", NameOf(inRange.finding)}};
    if (inRange.finding == Finding::Damaged) json["macroblocks"] = inRange.macroblocks;
    if (inRange.finding == Finding::Undecodable) json["status"] = static_cast<int>(inRange.status);
    if (inRange.finding == Finding::Missing)
        json["stands_in"] = inRange.standIn ? Json(*inRange.standIn) : Json(nullptr);
    return json;
}

}  // namespace

bool CheckReport::IsSound() const {
    return AreFramesSound() && stream.videoPacketsNotShown == 0 && !HasErrors(VideoPackets());
}

VexmoraHost::PacketCounts CheckReport::VideoPackets() const {
    std::set<std::uint16_t> pids;
    for (const auto& video : stream.videoPids) pids.insert(video.pid);
    VexmoraHost::PacketCounts all;
    for (const auto& [pid, counts] : stream.packets) {
        if (!pids.contains(pid)) continue;
        all.packets += counts.packets;
        all.continuityErrors += counts.continuityErrors;
        all.scrambled += counts.scrambled;
        all.transportErrors += counts.transportErrors;
    }
    return all;
}

bool CheckReport::AreFramesSound() const {
    return facts.frameCount > 0 && frames.Count(Finding::Sound) == facts.frameCount;
}

std::size_t CheckReport::Listed() const {
    const std::size_t ranges = frames.Ranges().size();
    return listAll ? ranges : std::min(ranges, kListedRanges);
}

void WriteCheckText(const CheckReport& inReport) {
    const std::string name = OnOneLine(inReport.facts.file);
    const auto write = [&](std::string_view inLine) { WriteOutput(fmt::format("{}: {}\n", name, inLine)); };
    const std::vector<FindingRange>& ranges = inReport.frames.Ranges();
    const std::size_t listed = inReport.Listed();
    for (std::size_t i = 0; i < listed; ++i) write(RangeText(ranges[i]));
    if (listed < ranges.size())
        write(fmt::format("{} more (--all lists every one)", Counted(ranges.size() - listed, "range")));
    for (const auto& [pid, counts] : inReport.stream.packets) {
        if (HasErrors(counts)) write(fmt::format("PID 0x{:X}: {}", pid, PacketsText(counts)));
    }
    if (const std::string text = StreamText(inReport.stream); !text.empty()) write("stream: " + text);
    if (const std::string text = IndexText(inReport.index); !text.empty()) write("index: " + text);
    if (const std::string text = StatusText(inReport.frames); !text.empty()) write("statuses: " + text);
    write(Verdict(inReport));
}

void WriteCheckJson(const CheckReport& inReport) {
    const FrameFindings& frames = inReport.frames;
    const IndexFindings& index = inReport.index;
    Json counts = Json::object();
    for (std::size_t i = 0; i < kFindings; ++i) {
        const auto finding = static_cast<Finding>(i);
        counts[std::string(NameOf(finding))] = frames.Count(finding);
    }
    Json statuses = Json::object();
    for (const auto& [status, count] : frames.Statuses())
        statuses[std::to_string(static_cast<int>(status))] = count;
    Json ranges = Json::array();
    const std::size_t listed = inReport.Listed();
    for (std::size_t i = 0; i < listed; ++i) ranges.push_back(RangeJson(frames.Ranges()[i]));
    const Json json = {
        {"file", inReport.facts.file},
        {"sound", inReport.IsSound()},
        {"scale", NameOf(inReport.scale)},
        {"frame_count", inReport.facts.frameCount},
        {"frames", counts},
        {"damaged_macroblocks", frames.Macroblocks()},
        {"statuses", statuses},
        {"index",
         {{"holes", index.holes},
          {"gaps", index.gaps},
          {"missing_references", index.missingReferences},
          {"broken_links", index.brokenLinks},
          {"pictures_before", index.picturesBefore},
          {"pictures_behind", index.picturesBehind}}},
        {"ranges", ranges},
        {"ranges_left_out", frames.Ranges().size() - listed},
        {"stream", StreamJson(inReport.stream)},
    };
    WriteOutput(json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

}  // namespace VexmoraCommand
