// The records as comma-separated values.
#include <fmt/format.h>

#include "files/StandardOutput.h"
#include "reports/Reports.h"
#include "reports/Units.h"

namespace VexmoraCommand {

namespace {

std::string PositionOrNothing(std::optional<std::int64_t> inPosition) {
    return inPosition ? fmt::to_string(*inPosition) : std::string();
}

std::string Line(const Vexmora::FrameRecord& inRecord, const VexmoraHost::RecordDetails& inDetails,
                 std::size_t inPosition) {
    const RecordFacts facts = FactsOf(inRecord, inDetails, inPosition);
    const auto flag = [&](std::uint16_t inBit) { return (inRecord.flags & inBit) != 0 ? 1 : 0; };
    return fmt::format(
        "{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{}\n", inPosition, facts.type,
        TemporalReference(inRecord), flag(Vexmora::kProgressiveFrameBit), flag(Vexmora::kTopFieldFirstBit),
        flag(Vexmora::kRepeatFirstFieldBit), flag(Vexmora::kBrokenLinkBit), std::uint64_t{inRecord.offset},
        std::uint32_t{inRecord.size}, PositionOrNothing(facts.past), PositionOrNothing(facts.future),
        IsValid(inRecord) ? 1 : 0, SecondsText(inDetails.presentationTime, ""),
        inDetails.timeCode ? TimeCodeText(*inDetails.timeCode) : "", facts.structure, facts.secondFieldType);
}

}  // namespace

void WriteCsv(const std::vector<Vexmora::FrameRecord>& inRecords,
              const VexmoraHost::MovieDetails& inDetails) {
    WriteOutput(
        "index,type,temporal_reference,progressive_frame,top_field_first,repeat_first_field,broken_link,"
        "offset,size,past,future,valid,presentation_time,time_code,structure,second_field_type\n");
    for (std::size_t position = 0; position < inRecords.size(); ++position)
        WriteOutput(Line(inRecords[position], DetailsAt(inDetails, position), position));
}

}  // namespace VexmoraCommand
