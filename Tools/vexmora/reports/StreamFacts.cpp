// Works the reported facts out of a movie and its records.
#include "reports/StreamFacts.h"

#include <fmt/core.h>

#include <array>
#include <cmath>
#include <numeric>

namespace VexmoraCommand {

namespace {

/// 0 stands for what the stream does not tell.
std::optional<double> KnownOrNothing(double inValue) {
    return inValue > 0 ? std::optional(inValue) : std::nullopt;
}

/// The format's rates are whole multiples of 1/1001 unless an extension divides them: those come out exact,
/// though the period is rounded.
double RateOf(double inPeriod) {
    const double in1001sts = 1001 / inPeriod;
    const double whole = std::round(in1001sts);
    return (std::abs(in1001sts - whole) < 1e-6 ? whole : in1001sts) / 1001;
}

void Count(const Vexmora::FrameRecord& inRecord, StreamFacts& ioFacts) {
    const std::array counters = {&ioFacts.pictures.holes, &ioFacts.pictures.typeI, &ioFacts.pictures.typeP,
                                 &ioFacts.pictures.typeB};
    ++*counters[PictureCodingType(inRecord)];
    if ((inRecord.flags & Vexmora::kRepeatFirstFieldBit) != 0) ++ioFacts.repeatedFields;
}

}  // namespace

std::optional<double> StreamFacts::Duration() const {
    if (!effectiveFrameRate) return std::nullopt;
    return static_cast<double>(frameCount) / *effectiveFrameRate;
}

StreamFacts GatherFacts(const std::string& inFile, const VexmoraHost::Movie& inMovie) {
    const VexmoraHost::MovieInfo& info = inMovie.Info();
    StreamFacts facts;
    facts.file = inFile;
    facts.indexFile = inMovie.IndexPath().native();
    facts.kind = info.streamKind;
    facts.header = info.index;
    for (const Vexmora::FrameRecord& record : inMovie.Records()) Count(record, facts);
    facts.frameCount = info.frameCount;
    facts.progressive = info.file.progressive != 0;
    facts.displayWidth = info.file.displayWidth;
    facts.displayHeight = info.file.displayHeight;
    facts.pixelAspectRatio = KnownOrNothing(info.file.pixelAspectRatio);
    if (info.file.framePeriod > 0) facts.frameRate = RateOf(info.file.framePeriod);
    facts.effectiveFrameRate = KnownOrNothing(info.file.effectiveFrameRate / 1000.0);
    return facts;
}

std::string_view KindName(VexmoraHost::StreamKind inKind) {
    switch (inKind) {
        case VexmoraHost::StreamKind::Elementary:
            return "elementary";
        case VexmoraHost::StreamKind::Program:
            return "program";
        default:
            return "transport";
    }
}

std::string_view FieldOrderName(const Vexmora::IndexHeader& inHeader) {
    switch (inHeader.formatWord & Vexmora::kFieldOrderMask) {
        case Vexmora::kFieldOrderProgressive:
            return "progressive";
        case Vexmora::kFieldOrderTopFirst:
            return "top";
        case Vexmora::kFieldOrderBottomFirst:
            return "bottom";
        default:
            return "mixed";
    }
}

std::string DisplayAspect(const Vexmora::IndexHeader& inHeader) {
    switch (inHeader.aspectRatioCode) {
        case 1: {
            const int divisor = std::gcd(int{inHeader.width}, int{inHeader.height});
            if (divisor == 0) return {};
            return fmt::format("{}:{}", inHeader.width / divisor, inHeader.height / divisor);
        }
        case 2:
            return "4:3";
        case 3:
            return "16:9";
        case 4:
            return "2.21:1";
        default:
            return {};
    }
}

RecordFacts FactsOf(const Vexmora::FrameRecord& inRecord, std::size_t inPosition) {
    constexpr std::array<std::string_view, 4> kTypeNames = {"", "I", "P", "B"};
    RecordFacts facts;
    facts.type = kTypeNames[PictureCodingType(inRecord)];
    const auto position = static_cast<std::int64_t>(inPosition);
    if (inRecord.pastRefDelta != 0) facts.past = position + inRecord.pastRefDelta;
    if (inRecord.futureRefDelta != 0) facts.future = position + inRecord.futureRefDelta;
    return facts;
}

}  // namespace VexmoraCommand
