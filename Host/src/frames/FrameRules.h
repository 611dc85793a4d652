// Which frame numbers name a picture, and which records a picture's references are.
#pragma once

#include <cstdint>
#include <span>

#include "Vexmora/Records.h"
#include "Vexmora/Status.h"

namespace VexmoraHost {

/// The rules of Vexmora_IsFrameValid, Vexmora_GetLastGoodFrame and Vexmora_GetFrameDependancies, for records
/// of which no handle knows. Numbers are positions in the records.
class FrameRules {
  public:
    /// @param inRecords outlive this; at most 2^31 - 1.
    explicit FrameRules(std::span<const Vexmora::FrameRecord> inRecords) : mRecords(inRecords) {}

    bool IsValid(std::int32_t inRecord) const;
    std::int32_t LastGood(std::int32_t inRecord) const;
    /// Leaves what it does not find as it is: kNoRecord.
    Vexmora_Status FindReferences(std::int32_t inRecord, std::int32_t& outPast,
                                  std::int32_t& outFuture) const;

  private:
    std::int32_t Count() const { return static_cast<std::int32_t>(mRecords.size()); }

    std::span<const Vexmora::FrameRecord> mRecords;
};

}  // namespace VexmoraHost
