// The facts and records as one JSON object.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "files/StandardOutput.h"
#include "reports/Reports.h"
#include "reports/Units.h"

namespace VexmoraCommand {

namespace {

using Json = nlohmann::ordered_json;

template <typename T>
Json ValueOrNull(const std::optional<T>& inValue) {
    return inValue ? Json(*inValue) : Json(nullptr);
}

Json ToJson(const StreamFacts& inFacts) {
    const Vexmora::IndexHeader& header = inFacts.header;
    // Values are copied out of the packed header: its members cannot be bound to references.
    return {
        {"file", inFacts.file},
        {"kind", KindName(inFacts.kind)},
        {"width", unsigned{header.width}},
        {"height", unsigned{header.height}},
        {"display_width", inFacts.displayWidth},
        {"display_height", inFacts.displayHeight},
        {"pixel_aspect_ratio", ValueOrNull(inFacts.pixelAspectRatio)},
        {"frame_rate", ValueOrNull(inFacts.frameRate)},
        {"effective_frame_rate", ValueOrNull(inFacts.effectiveFrameRate)},
        {"frame_count", inFacts.frameCount},
        {"first_frame", std::uint32_t{header.firstFrame}},
        {"last_frame", std::uint32_t{header.lastFrame}},
        {"progressive", inFacts.progressive},
        {"field_order", NameOf(FieldOrderOf(header))},
        {"max_picture_size", std::uint32_t{header.maxPictureSize}},
        {"stream_length", std::uint64_t{header.streamLength}},
        {"pictures",
         {{"I", inFacts.pictures.typeI},
          {"P", inFacts.pictures.typeP},
          {"B", inFacts.pictures.typeB},
          {"holes", inFacts.pictures.holes}}},
        {"index_file", inFacts.indexFile},
    };
}

// 0 and no text stand for what the recording does not tell.
template <typename T>
Json KnownOrNull(const T& inValue) {
    return inValue == T{} ? Json(nullptr) : Json(inValue);
}

Json ToJson(const VexmoraHost::ProgramInfo& inProgram, const VexmoraHost::MovieDetails& inDetails) {
    const bool isShown = inProgram.number == inDetails.program;
    Json streams = Json::array();
    for (const VexmoraHost::StreamInfo& stream : inProgram.streams) {
        streams.push_back({{"id", stream.id},
                           {"kind", NameOf(stream.kind)},
                           {"codec", stream.codec},
                           {"language", KnownOrNull(stream.language)},
                           {"width", KnownOrNull(stream.width)},
                           {"height", KnownOrNull(stream.height)},
                           {"shown", isShown && stream.id == inDetails.pid}});
    }
    return {{"number", inProgram.number}, {"shown", isShown}, {"streams", streams}};
}

Json ToJson(const VexmoraHost::FormatSpan& inSpan, const VexmoraHost::MovieDetails& inDetails) {
    const VexmoraHost::VideoFormat& format = inDetails.formats.at(inSpan.format);
    const Ratio aspect = SampleAspect(format, VexmoraHost::Scale::Full);
    return {{"first_frame", inSpan.firstFrame},
            {"frame_count", inSpan.frameCount},
            {"width", format.width},
            {"height", format.height},
            {"display_width", format.displayWidth},
            {"display_height", format.displayHeight},
            {"pixel_aspect_ratio", aspect.IsKnown() ? Json(aspect.Value()) : Json(nullptr)},
            {"frame_rate", FrameRate(format).IsKnown() ? Json(FrameRate(format).Value()) : Json(nullptr)},
            {"progressive", format.isProgressive},
            {"chroma", "4:2:0"}};
}

Json ToJson(const StreamFacts& inFacts, const VexmoraHost::MovieDetails& inDetails) {
    const auto seconds = [](std::int64_t inTime) {
        return inTime == VexmoraHost::kNoTime ? Json(nullptr) : Json(static_cast<double>(inTime) / 90'000);
    };
    const std::size_t first = inFacts.header.firstFrame;
    const std::size_t last = inFacts.header.lastFrame;
    Json json = {{"duration", ValueOrNull(inFacts.Duration())},
                 {"first_time", seconds(DetailsAt(inDetails, first).presentationTime)},
                 {"last_time", seconds(DetailsAt(inDetails, last).presentationTime)},
                 {"parts", inFacts.parts},
                 {"packet_size", KnownOrNull(inDetails.packetBytes)},
                 {"skipped_bytes", inDetails.account.skippedBytes},
                 {"programs", Json::array()},
                 {"audio", Json::array()},
                 {"formats", Json::array()}};
    for (const auto& program : inDetails.programs) json["programs"].push_back(ToJson(program, inDetails));
    for (std::size_t i = 0; i < inDetails.spans.size(); ++i) {
        Json span = ToJson(inDetails.spans[i], inDetails);
        span["field_order"] = NameOf(inFacts.spanOrders.at(i));
        json["formats"].push_back(span);
    }
    for (const VexmoraHost::AudioTrack& track : inDetails.audio) {
        json["audio"].push_back({{"id", track.stream.id},
                                 {"codec", track.stream.codec},
                                 {"language", KnownOrNull(track.stream.language)},
                                 {"offset", ValueOrNull(track.offset)}});
    }
    return json;
}

std::string PositionOrNull(std::optional<std::int64_t> inPosition) {
    return inPosition ? fmt::to_string(*inPosition) : "null";
}

// Written piece by piece: a film's records as one tree would take a hundred times their memory.
std::string RecordText(const Vexmora::FrameRecord& inRecord, const VexmoraHost::RecordDetails& inDetails,
                       std::size_t inPosition) {
    const RecordFacts facts = FactsOf(inRecord, inDetails, inPosition);
    const auto quoted = [](std::string_view inText) {
        return inText.empty() ? "null" : fmt::format("\"{}\"", inText);
    };
    const auto flag = [&](std::uint16_t inBit) { return (inRecord.flags & inBit) != 0; };
    return fmt::format(
        R"(    {{"index": {}, "type": {}, "temporal_reference": {}, "offset": {}, "size": {}, )"
        R"("progressive_frame": {}, "top_field_first": {}, "repeat_first_field": {}, "broken_link": {}, )"
        R"("past": {}, "future": {}, "valid": {}, "presentation_time": {}, "time_code": {}, )"
        R"("structure": {}, "second_field_type": {}}})",
        inPosition, quoted(facts.type), TemporalReference(inRecord), std::uint64_t{inRecord.offset},
        std::uint32_t{inRecord.size}, flag(Vexmora::kProgressiveFrameBit), flag(Vexmora::kTopFieldFirstBit),
        flag(Vexmora::kRepeatFirstFieldBit), flag(Vexmora::kBrokenLinkBit), PositionOrNull(facts.past),
        PositionOrNull(facts.future), IsValid(inRecord), SecondsText(inDetails.presentationTime, "null"),
        quoted(inDetails.timeCode ? TimeCodeText(*inDetails.timeCode) : ""), quoted(facts.structure),
        quoted(facts.secondFieldType));
}

}  // namespace

void WriteJson(const StreamFacts& inFacts, const VexmoraHost::MovieDetails& inDetails,
               const std::vector<Vexmora::FrameRecord>* inRecords) {
    // A file name that is not UTF-8 still gives valid JSON: what cannot be shown is replaced.
    Json json = ToJson(inFacts);
    json.update(ToJson(inFacts, inDetails));
    std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
    if (inRecords == nullptr) {
        WriteOutput(text + "\n");
        return;
    }
    text.resize(text.size() - 2);  // the records go before the closing "\n}"
    WriteOutput(text + ",\n  \"records\": [");
    for (std::size_t position = 0; position < inRecords->size(); ++position) {
        WriteOutput(position == 0 ? "\n" : ",\n");
        WriteOutput(RecordText((*inRecords)[position], DetailsAt(inDetails, position), position));
    }
    WriteOutput("\n  ]\n}\n");
}

}  // namespace VexmoraCommand
