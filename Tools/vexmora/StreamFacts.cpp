// Works the reported facts out of a header and its records.
#include "StreamFacts.h"

#include <fmt/core.h>

#include <array>
#include <numeric>

namespace Vexmora {

namespace {

/// By aspect_ratio_information (ISO/IEC 13818-2 table 6-3).
std::optional<double> PixelAspectRatio(const IndexHeader& inHeader) {
    const double width = inHeader.width;
    const double height = inHeader.height;
    if (width == 0) return std::nullopt;
    switch (inHeader.aspectRatioCode) {
        case 1:
            return 1.0;
        case 2:
            return height * 4.0 / 3.0 / width;
        case 3:
            return height * 16.0 / 9.0 / width;
        case 4:
            return height * 2.21 / width;
        default:
            return std::nullopt;
    }
}

void Count(const FrameRecord& inRecord, StreamFacts& ioFacts) {
    const std::array counters = {&ioFacts.pictures.holes, &ioFacts.pictures.typeI, &ioFacts.pictures.typeP,
                                 &ioFacts.pictures.typeB};
    ++*counters[PictureCodingType(inRecord)];
    if ((inRecord.flags & kRepeatFirstFieldBit) != 0) ++ioFacts.repeatedFields;
}

}  // namespace

std::optional<double> StreamFacts::Duration() const {
    if (!effectiveFrameRate) return std::nullopt;
    return static_cast<double>(frameCount) / *effectiveFrameRate;
}

StreamFacts GatherFacts(const std::string& inFile, const StreamIndex& inIndex) {
    const IndexHeader& header = inIndex.header;
    StreamFacts facts;
    facts.file = inFile;
    facts.header = header;
    for (const FrameRecord& record : inIndex.records) Count(record, facts);
    if (header.lastFrame >= header.firstFrame)
        facts.frameCount = std::uint64_t{header.lastFrame} - header.firstFrame + 1;
    const bool isFirstValid = !inIndex.records.empty() && IsValid(inIndex.records.front());
    facts.progressive = isFirstValid ? (inIndex.records.front().flags & kProgressiveFrameBit) != 0
                                     : (header.formatWord & kFieldOrderMask) == kFieldOrderProgressive;
    facts.displayWidth = header.displayWidth != 0 ? header.displayWidth : header.width;
    facts.displayHeight = header.displayHeight != 0 ? header.displayHeight : header.height;
    facts.pixelAspectRatio = PixelAspectRatio(header);
    if (header.effectiveFrameRate != 0) facts.effectiveFrameRate = header.effectiveFrameRate / 1000.0;
    return facts;
}

std::string_view KindName(const IndexHeader& inHeader) {
    switch (inHeader.streamKind) {
        case kStreamKindElementary:
            return "elementary";
        case kStreamKindProgram:
            return "program";
        default:
            return "transport";
    }
}

std::string_view FieldOrderName(const IndexHeader& inHeader) {
    switch (inHeader.formatWord & kFieldOrderMask) {
        case kFieldOrderProgressive:
            return "progressive";
        case kFieldOrderTopFirst:
            return "top";
        case kFieldOrderBottomFirst:
            return "bottom";
        default:
            return "mixed";
    }
}

std::string DisplayAspect(const IndexHeader& inHeader) {
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

RecordFacts FactsOf(const FrameRecord& inRecord, std::size_t inPosition) {
    constexpr std::array<std::string_view, 4> kTypeNames = {"", "I", "P", "B"};
    RecordFacts facts;
    facts.type = kTypeNames[PictureCodingType(inRecord)];
    const auto position = static_cast<std::int64_t>(inPosition);
    if (inRecord.pastRefDelta != 0) facts.past = position + inRecord.pastRefDelta;
    if (inRecord.futureRefDelta != 0) facts.future = position + inRecord.futureRefDelta;
    return facts;
}

}  // namespace Vexmora
