// Trusts nothing in an index.
#include "index/StoredIndex.h"

#include <algorithm>
#include <cstdint>

namespace VexmoraHost {
namespace {

using Vexmora::FrameRecord;
using Vexmora::IndexHeader;

bool IsKnownKind(std::uint32_t inStreamKind) {
    return inStreamKind == Vexmora::kStreamKindElementary || inStreamKind == Vexmora::kStreamKindProgram ||
           inStreamKind == Vexmora::kStreamKindTransport;
}

bool IsSound(const FrameRecord& inRecord, const IndexHeader& inHeader) {
    return inRecord.offset <= inHeader.streamLength && inRecord.size <= inHeader.maxPictureSize &&
           inRecord.reserved == 0;
}

}  // namespace

bool IsSound(const IndexHeader& inHeader, std::span<const FrameRecord> inRecords, const Guid& inIdentity) {
    if (inHeader.version != Vexmora::kIndexVersion || inHeader.identity != inIdentity) return false;
    if (inHeader.recordCount != inRecords.size()) return false;
    if (inHeader.streamKind == Vexmora::kStreamKindFailed) return inRecords.empty();
    return IsKnownKind(inHeader.streamKind) && inHeader.firstFrame < inHeader.recordCount &&
           inHeader.lastFrame < inHeader.recordCount &&
           std::all_of(inRecords.begin(), inRecords.end(),
                       [&](const FrameRecord& inRecord) { return IsSound(inRecord, inHeader); });
}

}  // namespace VexmoraHost
