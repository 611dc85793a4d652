// Reading of times, and the frames that are shown then.
#include "movies/FrameTimes.h"

#include <algorithm>
#include <cmath>
#include <regex>
#include <span>
#include <string>
#include <utility>

#include "pictures/VideoFormat.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::kNoTime;
using VexmoraHost::MovieDetails;
using VexmoraHost::MovieInfo;

constexpr double kClockRate = 90'000;

struct Time {
    std::uint64_t seconds = 0;  // whole ones
    double fraction = 0;
    std::optional<std::uint32_t> pictures;  // of a time code
};

std::optional<Time> ReadTime(std::string_view inText) {
    static const std::regex kForm(R"((\d{1,4}):([0-5]?\d):([0-5]?\d)(?:[:;](\d{1,3})|(\.\d{1,9}))?)");
    std::cmatch match;
    if (!std::regex_match(inText.data(), inText.data() + inText.size(), match, kForm)) return {};
    Time time;
    time.seconds = std::stoull(match[1]) * 3600 + std::stoull(match[2]) * 60 + std::stoull(match[3]);
    if (match[4].matched) time.pictures = static_cast<std::uint32_t>(std::stoul(match[4]));
    if (match[5].matched) time.fraction = std::stod("0" + match[5].str());
    return time;
}

// What records tell of the usable frames.
std::span<const VexmoraHost::RecordDetails> FramesOf(const MovieInfo& inInfo, const MovieDetails& inDetails) {
    const std::span<const VexmoraHost::RecordDetails> records(inDetails.records);
    const std::size_t first = std::min<std::size_t>(inInfo.firstFrame, records.size());
    return records.subspan(first, std::min<std::size_t>(inInfo.frameCount, records.size() - first));
}

std::vector<std::uint32_t> Counted(double inFrame, const MovieInfo& inInfo) {
    if (!(inFrame >= 0 && inFrame < inInfo.frameCount)) return {};
    return {static_cast<std::uint32_t>(inFrame)};
}

std::vector<std::uint32_t> FindTimeCode(const Time& inTime, const MovieInfo& inInfo,
                                        const MovieDetails& inDetails) {
    std::vector<std::uint32_t> found;
    const auto frames = FramesOf(inInfo, inDetails);
    for (std::size_t frame = 0; frame < frames.size(); ++frame) {
        const auto& code = frames[frame].timeCode;
        if (!code || code->pictures != inTime.pictures) continue;
        if (std::uint64_t{code->hours} * 3600 + code->minutes * 60U + code->seconds == inTime.seconds)
            found.push_back(static_cast<std::uint32_t>(frame));
    }
    const Ratio rate = FrameRate(inInfo);
    if (!found.empty() || !rate.IsKnown()) return found;
    return Counted(static_cast<double>(inTime.seconds) * std::round(rate.Value()) + *inTime.pictures, inInfo);
}

std::vector<std::uint32_t> FindSeconds(const Time& inTime, const MovieInfo& inInfo,
                                       const MovieDetails& inDetails) {
    constexpr double kTolerance = 0.0006;  // times are written to the millisecond
    const double seconds = static_cast<double>(inTime.seconds) + inTime.fraction + kTolerance;
    const Ratio effective = EffectiveRate(inInfo, FormatOf(inInfo));
    const double rate = effective.IsKnown() ? effective.Value() : 0;
    const auto frames = FramesOf(inInfo, inDetails);
    const auto grows = [](const auto& inOne, const auto& inNext) {
        return inOne.presentationTime == kNoTime || inOne.presentationTime >= inNext.presentationTime;
    };
    if (frames.empty() || frames.back().presentationTime == kNoTime ||
        std::ranges::adjacent_find(frames, grows) != frames.end())
        return Counted(std::floor(seconds * rate), inInfo);
    const double time = static_cast<double>(frames.front().presentationTime) + seconds * kClockRate;
    if (rate > 0 && time > static_cast<double>(frames.back().presentationTime) + kClockRate / rate) return {};
    const auto behind = std::ranges::upper_bound(
        frames, time, {}, [](const auto& inFrame) { return static_cast<double>(inFrame.presentationTime); });
    return {static_cast<std::uint32_t>(behind - frames.begin() - 1)};
}

}  // namespace

FindTime TimesOf(const MovieInfo& inInfo, std::function<const MovieDetails&()> inDetails) {
    return [&inInfo, details = std::move(inDetails)](
               std::string_view inText) -> std::optional<std::vector<std::uint32_t>> {
        const std::optional<Time> time = ReadTime(inText);
        if (!time) return {};
        return (time->pictures ? FindTimeCode : FindSeconds)(*time, inInfo, details());
    };
}

}  // namespace VexmoraCommand
