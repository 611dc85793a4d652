// Works the reported facts out of a movie and its records.
#include "reports/StreamFacts.h"

#include <array>

namespace VexmoraCommand {

namespace {

// 0 stands for what the stream does not tell.
std::optional<double> KnownOrNothing(double inValue) {
    return inValue > 0 ? std::optional(inValue) : std::nullopt;
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

FieldOrder FieldOrderIn(const VexmoraHost::Movie& inMovie, const VexmoraHost::FormatSpan& inSpan,
                        const VexmoraHost::VideoFormat& inFormat) {
    if (inFormat.isProgressive) return FieldOrder::Progressive;
    std::array<bool, 2> isMet{};
    for (std::uint32_t frame = 0; frame < inSpan.frameCount; ++frame) {
        const auto& record = inMovie.Records().at(inMovie.Info().firstFrame + inSpan.firstFrame + frame);
        if (IsValid(record)) isMet.at((record.flags & Vexmora::kTopFieldFirstBit) != 0 ? 1 : 0) = true;
    }
    if (isMet[0] == isMet[1]) return FieldOrder::Mixed;
    return isMet[1] ? FieldOrder::TopFirst : FieldOrder::BottomFirst;
}

StreamFacts GatherFacts(const RecordingFiles& inRecording, const VexmoraHost::Movie& inMovie) {
    const VexmoraHost::MovieInfo& info = inMovie.Info();
    StreamFacts facts;
    facts.file = inRecording.name;
    facts.parts = inRecording.files;
    facts.indexFile = inMovie.IndexPath().native();
    facts.kind = info.streamKind;
    facts.header = info.index;
    facts.format = FormatOf(info);
    for (const Vexmora::FrameRecord& record : inMovie.Records()) Count(record, facts);
    facts.frameCount = info.frameCount;
    facts.progressive = info.file.progressive != 0;
    facts.displayWidth = info.file.displayWidth;
    facts.displayHeight = info.file.displayHeight;
    facts.pixelAspectRatio = KnownOrNothing(info.file.pixelAspectRatio);
    if (const Ratio rate = FrameRate(info); rate.IsKnown()) facts.frameRate = rate.Value();
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

std::string_view NameOf(VexmoraHost::StreamInfo::Kind inKind) {
    switch (inKind) {
        case VexmoraHost::StreamInfo::Kind::Video:
            return "video";
        case VexmoraHost::StreamInfo::Kind::Audio:
            return "audio";
        default:
            return "other";
    }
}

std::string_view NameOf(FieldOrder inOrder) {
    switch (inOrder) {
        case FieldOrder::Progressive:
            return "progressive";
        case FieldOrder::TopFirst:
            return "top";
        case FieldOrder::BottomFirst:
            return "bottom";
        default:
            return "mixed";
    }
}

RecordFacts FactsOf(const Vexmora::FrameRecord& inRecord, const VexmoraHost::RecordDetails& inDetails,
                    std::size_t inPosition) {
    constexpr std::array<std::string_view, 4> kTypeNames = {"", "I", "P", "B"};
    RecordFacts facts;
    facts.type = kTypeNames[PictureCodingType(inRecord)];
    facts.secondFieldType = kTypeNames[inDetails.secondFieldType & 3U];
    if (!facts.type.empty()) facts.structure = inDetails.isOfFields ? "fields" : "frame";
    const auto position = static_cast<std::int64_t>(inPosition);
    if (inRecord.pastRefDelta != 0) facts.past = position + inRecord.pastRefDelta;
    if (inRecord.futureRefDelta != 0) facts.future = position + inRecord.futureRefDelta;
    return facts;
}

const VexmoraHost::RecordDetails& DetailsAt(const VexmoraHost::MovieDetails& inDetails,
                                            std::size_t inPosition) {
    static const VexmoraHost::RecordDetails kNone;
    return inPosition < inDetails.records.size() ? inDetails.records[inPosition] : kNone;
}

}  // namespace VexmoraCommand
