// The facts and records as one JSON object.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "files/StandardOutput.h"
#include "reports/Reports.h"

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

std::string PositionOrNull(std::optional<std::int64_t> inPosition) {
    return inPosition ? fmt::to_string(*inPosition) : "null";
}

// Written piece by piece: a film's records as one tree would take a hundred times their memory.
std::string RecordText(const Vexmora::FrameRecord& inRecord, std::size_t inPosition) {
    const RecordFacts facts = FactsOf(inRecord, inPosition);
    const auto flag = [&](std::uint16_t inBit) { return (inRecord.flags & inBit) != 0; };
    return fmt::format(
        R"(    {{"index": {}, "type": {}, "temporal_reference": {}, "offset": {}, "size": {}, )"
        R"("progressive_frame": {}, "top_field_first": {}, "repeat_first_field": {}, "broken_link": {}, )"
        R"("past": {}, "future": {}, "valid": {}}})",
        inPosition, facts.type.empty() ? "null" : fmt::format("\"{}\"", facts.type),
        TemporalReference(inRecord), std::uint64_t{inRecord.offset}, std::uint32_t{inRecord.size},
        flag(Vexmora::kProgressiveFrameBit), flag(Vexmora::kTopFieldFirstBit),
        flag(Vexmora::kRepeatFirstFieldBit), flag(Vexmora::kBrokenLinkBit), PositionOrNull(facts.past),
        PositionOrNull(facts.future), IsValid(inRecord));
}

}  // namespace

void WriteJson(const StreamFacts& inFacts, const std::vector<Vexmora::FrameRecord>* inRecords) {
    // A file name that is not UTF-8 still gives valid JSON: what cannot be shown is replaced.
    std::string text = ToJson(inFacts).dump(2, ' ', false, Json::error_handler_t::replace);
    if (inRecords == nullptr) {
        WriteOutput(text + "\n");
        return;
    }
    text.resize(text.size() - 2);  // the records go before the closing "\n}"
    WriteOutput(text + ",\n  \"records\": [");
    for (std::size_t position = 0; position < inRecords->size(); ++position) {
        WriteOutput(position == 0 ? "\n" : ",\n");
        WriteOutput(RecordText((*inRecords)[position], position));
    }
    WriteOutput("\n  ]\n}\n");
}

}  // namespace VexmoraCommand
