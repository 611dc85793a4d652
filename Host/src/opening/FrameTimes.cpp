// Time stamps, and what lies between them.
#include "opening/FrameTimes.h"

#include <algorithm>
#include <cstddef>

#include "sources/SourceIndex.h"

namespace VexmoraHost {
namespace {

constexpr std::int64_t kTicksPerSecond = 90'000;
constexpr std::int64_t kTimeMask = (std::int64_t{1} << 33) - 1;

// How long a picture is shown, in fields (ISO/IEC 13818-2, 6.3.10, repeat_first_field).
std::int64_t FieldsShown(const Vexmora::FrameRecord& inRecord, const VideoFormat& inFormat) {
    const bool isRepeated = (inRecord.flags & Vexmora::kRepeatFirstFieldBit) != 0;
    if (!isRepeated) return 2;
    if (!inFormat.isProgressive) return 3;
    return (inRecord.flags & Vexmora::kTopFieldFirstBit) != 0 ? 6 : 4;
}

// Adds up fields, so that rounding does not.
class Clock {
  public:
    explicit Clock(const VideoFormat& inFormat) : mFormat(inFormat) {}

    std::int64_t TicksOf(std::int64_t inFields) const {
        if (mFormat.frameRateNumerator == 0) return 0;
        const auto half = static_cast<std::int64_t>(mFormat.frameRateNumerator);
        return (inFields * kTicksPerSecond * mFormat.frameRateDenominator + half) / (2 * half);
    }

  private:
    const VideoFormat mFormat;
};

class Timeline {
  public:
    Timeline(std::span<const Vexmora::FrameRecord> inRecords, MovieDetails& ioDetails)
        : mRecords(inRecords), mDetails(ioDetails) {}

    // Behind each known time.
    void FillForward() {
        std::int64_t known = kNoTime;
        std::int64_t fields = 0;
        std::uint32_t format = 0;
        for (std::size_t record = 0; record < mDetails.records.size(); ++record) {
            RecordDetails& details = mDetails.records[record];
            if (details.presentationTime != kNoTime) {
                known = details.presentationTime;
                fields = 0;
                format = details.format;
            } else if (known != kNoTime) {
                details.presentationTime =
                    (known + Clock(mDetails.formats[format]).TicksOf(fields)) & kTimeMask;
            }
            fields += FieldsShown(mRecords[record], mDetails.formats[details.format]);
        }
    }

    // Before the first one.
    void FillBackward() {
        const auto isKnown = [](const RecordDetails& in) { return in.presentationTime != kNoTime; };
        const auto first = std::ranges::find_if(mDetails.records, isKnown);
        if (first == mDetails.records.end()) return;
        std::int64_t fields = 0;
        for (auto record = static_cast<std::size_t>(first - mDetails.records.begin()); record-- > 0;) {
            RecordDetails& details = mDetails.records[record];
            const VideoFormat& format = mDetails.formats[details.format];
            fields += FieldsShown(mRecords[record], format);
            details.presentationTime = (first->presentationTime - Clock(format).TicksOf(fields)) & kTimeMask;
        }
    }

  private:
    std::span<const Vexmora::FrameRecord> mRecords;
    MovieDetails& mDetails;
};

// time_code without its marker bit (ISO/IEC 13818-2, table 6-11).
TimeCode Parse(std::uint32_t inBits) {
    return {.isDropFrame = (inBits >> 24 & 1) != 0,
            .hours = static_cast<std::uint8_t>(inBits >> 19 & 31),
            .minutes = static_cast<std::uint8_t>(inBits >> 13 & 63),
            .seconds = static_cast<std::uint8_t>(inBits >> 6 & 63),
            .pictures = static_cast<std::uint8_t>(inBits & 63)};
}

std::uint32_t FramesPerSecond(const VideoFormat& inFormat) {
    if (inFormat.frameRateDenominator == 0) return 0;
    return (inFormat.frameRateNumerator + inFormat.frameRateDenominator - 1) / inFormat.frameRateDenominator;
}

// Of each coded frame the time code of its group; kNoTimeCode behind a group without.
std::vector<std::uint32_t> TimeCodesOfGroups(const CodedVideo& inVideo) {
    std::vector<std::uint32_t> codes;
    codes.reserve(inVideo.frames.size());
    std::uint32_t code = kNoTimeCode;
    for (const CodedFrame& frame : inVideo.frames) {
        if ((frame.flags & kGroupFlag) != 0) code = frame.timeCode;
        codes.push_back(code);
    }
    return codes;
}

}  // namespace

TimeCode Later(const TimeCode& inTimeCode, std::uint32_t inFrames, std::uint32_t inFramesPerSecond) {
    if (inFramesPerSecond == 0) return inTimeCode;
    const std::uint64_t rate = inFramesPerSecond;
    const std::uint64_t minutes = inTimeCode.hours * std::uint64_t{60} + inTimeCode.minutes;
    std::uint64_t number = (minutes * 60 + inTimeCode.seconds) * rate + inTimeCode.pictures;
    const std::uint64_t perMinute = 60 * rate - 2;
    const std::uint64_t perTenMinutes = 600 * rate - 18;
    if (inTimeCode.isDropFrame) number -= 2 * (minutes - minutes / 10);
    number += inFrames;
    if (inTimeCode.isDropFrame) {
        const std::uint64_t rest = number % perTenMinutes;
        number += 18 * (number / perTenMinutes) + (rest < 2 ? 0 : 2 * ((rest - 2) / perMinute));
    }
    const std::uint64_t seconds = number / rate;
    return {.isDropFrame = inTimeCode.isDropFrame,
            .hours = static_cast<std::uint8_t>(seconds / 3600 % 24),
            .minutes = static_cast<std::uint8_t>(seconds / 60 % 60),
            .seconds = static_cast<std::uint8_t>(seconds % 60),
            .pictures = static_cast<std::uint8_t>(number % rate)};
}

void AddTimes(const CodedVideo& inVideo, std::span<const std::uint32_t> inFrames,
              std::span<const Vexmora::FrameRecord> inRecords, MovieDetails& ioDetails) {
    if (ioDetails.formats.empty()) return;
    const auto codes = TimeCodesOfGroups(inVideo);
    const std::size_t count = std::min(inFrames.size(), ioDetails.records.size());
    for (std::size_t record = 0; record < count; ++record) {
        const std::uint32_t number = inFrames[record];
        if (number == kNoCodedFrame) continue;
        const CodedFrame& frame = inVideo.frames[number];
        RecordDetails& details = ioDetails.records[record];
        details.presentationTime = frame.pts;
        if (codes[number] == kNoTimeCode) continue;
        details.timeCode = Later(Parse(codes[number]), frame.TemporalReference(),
                                 FramesPerSecond(ioDetails.formats[details.format]));
    }
    Timeline timeline(inRecords, ioDetails);
    timeline.FillForward();
    timeline.FillBackward();
}

}  // namespace VexmoraHost
