// Times, formats and audio tracks.
#include "opening/SourceDetails.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>

#include "opening/FrameTimes.h"

namespace VexmoraHost {
namespace {

constexpr double kClockRate = 90'000.0;

struct Rate {
    std::uint32_t numerator;
    std::uint32_t denominator;
};
// ISO/IEC 13818-2, table 6-4.
constexpr std::array<Rate, 9> kRates{
    {{0, 0}, {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}};

VideoFormat FormatOf(const SequenceParameterSet& inParameters) {
    VideoFormat format{.width = inParameters.width,
                       .height = inParameters.height,
                       .displayWidth = inParameters.displayWidth,
                       .displayHeight = inParameters.displayHeight,
                       .aspectRatioCode = inParameters.aspectRatioCode,
                       .isProgressive = inParameters.isProgressive};
    if (format.displayWidth == 0 || format.displayHeight == 0) {
        format.displayWidth = format.width;
        format.displayHeight = format.height;
    }
    if (inParameters.frameRateCode < kRates.size()) {
        const Rate rate = kRates[inParameters.frameRateCode];
        const std::uint32_t numerator = rate.numerator * (inParameters.frameRateExtensionN + 1u);
        const std::uint32_t denominator = rate.denominator * (inParameters.frameRateExtensionD + 1u);
        const std::uint32_t common = std::max(std::gcd(numerator, denominator), 1u);
        format.frameRateNumerator = numerator / common;
        format.frameRateDenominator = denominator / common;
    }
    return format;
}

// For each parameter set the number of its format.
std::vector<std::uint32_t> CollectFormats(const CodedVideo& inVideo, std::vector<VideoFormat>& outFormats) {
    std::vector<std::uint32_t> numbers;
    for (const SequenceParameterSet& parameters : inVideo.parameters) {
        const VideoFormat format = FormatOf(parameters);
        const auto known = std::ranges::find(outFormats, format);
        numbers.push_back(static_cast<std::uint32_t>(known - outFormats.begin()));
        if (known == outFormats.end()) outFormats.push_back(format);
    }
    return numbers;
}

// A hole has the format of the picture before it.
void DescribeRecords(const ScannedRecording& inScan, MovieDetails& ioDetails) {
    const CodedVideo& video = inScan.tables.video;
    const auto formats = CollectFormats(video, ioDetails.formats);
    const std::size_t count = std::min(inScan.index.frames.size(), ioDetails.records.size());
    std::uint32_t format = video.frames.empty() ? 0 : formats[video.frames.front().parameters];
    for (std::size_t record = 0; record < count; ++record) {
        RecordDetails& details = ioDetails.records[record];
        const std::uint32_t number = inScan.index.frames[record];
        if (number != kNoCodedFrame) {
            const CodedFrame& frame = video.frames[number];
            format = formats[frame.parameters];
            details.isOfFields = frame.IsField();
            details.secondFieldType = static_cast<std::uint8_t>(frame.SecondFieldType());
        }
        details.format = format;
    }
}

void AddSpans(const MovieInfo& inInfo, MovieDetails& ioDetails) {
    for (std::uint32_t frame = 0; frame < inInfo.frameCount; ++frame) {
        const std::uint32_t format = ioDetails.records.at(std::size_t{inInfo.firstFrame} + frame).format;
        if (ioDetails.spans.empty() || ioDetails.spans.back().format != format) {
            ioDetails.spans.push_back({frame, 0, format});
        }
        ++ioDetails.spans.back().frameCount;
    }
}

// Clocks of 33 bits wrap around.
double SecondsBetween(std::int64_t inFrom, std::int64_t inTo) {
    constexpr std::int64_t kWrap = std::int64_t{1} << 33;
    std::int64_t ticks = (inTo - inFrom) % kWrap;
    if (ticks >= kWrap / 2) ticks -= kWrap;
    if (ticks < -kWrap / 2) ticks += kWrap;
    return static_cast<double>(ticks) / kClockRate;
}

void AddAudio(const MovieInfo& inInfo, MovieDetails& ioDetails) {
    std::int64_t begin = kNoTime;
    if (inInfo.frameCount > 0) begin = ioDetails.records.at(inInfo.firstFrame).presentationTime;
    for (const ProgramInfo& program : ioDetails.programs) {
        if (program.number != ioDetails.program) continue;
        for (const StreamInfo& stream : program.streams) {
            if (stream.kind != StreamInfo::Kind::Audio) continue;
            AudioTrack track{.stream = stream, .offset = {}};
            const auto first = ioDetails.account.firstTimes.find(stream.id);
            if (first != ioDetails.account.firstTimes.end() && begin != kNoTime) {
                track.offset = SecondsBetween(begin, first->second);
            }
            ioDetails.audio.push_back(std::move(track));
        }
    }
}

}  // namespace

MovieDetails DetailsOf(const ScannedRecording& inScan, const MovieInfo& inInfo,
                       const std::vector<Vexmora::FrameRecord>& inRecords) {
    const SourceTables& tables = inScan.tables;
    MovieDetails details;
    details.programs = tables.packaging.programs;
    details.program = tables.chosen.program;
    details.pid = tables.chosen.id;
    details.packetBytes = tables.packaging.packetDistance;
    details.skippedAtStart = tables.packaging.SkippedAtStart();
    details.account = tables.account;
    details.records.resize(inRecords.size());
    DescribeRecords(inScan, details);
    AddTimes(tables.video, inScan.index.frames, inRecords, details);
    AddSpans(inInfo, details);
    AddAudio(inInfo, details);
    return details;
}

}  // namespace VexmoraHost
