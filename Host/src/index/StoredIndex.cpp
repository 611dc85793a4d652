// Reads index files out of memory, trusting nothing in them.
#include "VexmoraHost/StoredIndex.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace VexmoraHost {
namespace {

using Vexmora::FrameRecord;
using Vexmora::IndexHeader;

constexpr std::size_t kHeaderBytes = sizeof(IndexHeader);
constexpr std::size_t kRecordBytes = sizeof(FrameRecord);

bool IsKnownKind(std::uint32_t inStreamKind) {
    return inStreamKind == Vexmora::kStreamKindElementary || inStreamKind == Vexmora::kStreamKindProgram ||
           inStreamKind == Vexmora::kStreamKindTransport;
}

// Whether the header can stand before inRecordBytes bytes of records.
bool IsSound(const IndexHeader& inHeader, const Guid& inIdentity, std::uint64_t inRecordBytes) {
    if (inHeader.version != Vexmora::kIndexVersion || inHeader.identity != inIdentity) return false;
    if (inRecordBytes != std::uint64_t{inHeader.recordCount} * kRecordBytes) return false;
    if (inHeader.streamKind == Vexmora::kStreamKindFailed) return inHeader.recordCount == 0;
    return IsKnownKind(inHeader.streamKind) && inHeader.firstFrame < inHeader.recordCount &&
           inHeader.lastFrame < inHeader.recordCount;
}

bool IsSound(const FrameRecord& inRecord, const IndexHeader& inHeader) {
    return inRecord.offset <= inHeader.streamLength && inRecord.size <= inHeader.maxPictureSize &&
           inRecord.reserved == 0;
}

}  // namespace

std::optional<StoredIndex> ParseIndexFile(std::span<const std::byte> inBytes, const Guid& inIdentity) {
    if (inBytes.size() < kHeaderBytes) return std::nullopt;
    StoredIndex index;
    std::memcpy(&index.header, inBytes.data(), kHeaderBytes);
    const auto recordBytes = inBytes.subspan(kHeaderBytes);
    if (!IsSound(index.header, inIdentity, recordBytes.size())) return std::nullopt;
    index.records.resize(index.header.recordCount);
    if (!recordBytes.empty()) std::memcpy(index.records.data(), recordBytes.data(), recordBytes.size());
    const bool sound =
        std::all_of(index.records.begin(), index.records.end(),
                    [&](const FrameRecord& inRecord) { return IsSound(inRecord, index.header); });
    if (!sound) return std::nullopt;
    return index;
}

}  // namespace VexmoraHost
