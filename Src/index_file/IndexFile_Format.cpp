// Reading and writing index files.
#include "index_file/IndexFile_Format.h"

#include <algorithm>

namespace Vexmora {
namespace {

// Records that a file lacks are holes, of which no index has more than its indexer lets pass. A count beyond
// that is not a torn file's but a wild one, and must not decide how much memory is taken.
constexpr std::int64_t kMostMissing = 1'000'000;

// Records are read in pieces, so that memory follows what the file really holds.
constexpr std::size_t kRecordsPerRead = 65536;

std::int32_t ReadRecords(Orvet::File& ioFile, std::uint32_t inCount, std::vector<FrameRecord>& outRecords) {
    while (outRecords.size() < inCount) {
        const std::size_t had = outRecords.size();
        const std::size_t wanted = std::min<std::size_t>(kRecordsPerRead, inCount - had);
        outRecords.resize(had + wanted);
        std::size_t got = 0;
        const std::int32_t status = ioFile.Read(outRecords.data() + had, wanted * sizeof(FrameRecord), got);
        if (status < 0) return status;
        outRecords.resize(had + got / sizeof(FrameRecord));  // half a record is none
        if (got < wanted * sizeof(FrameRecord)) break;
    }
    outRecords.resize(inCount);
    return 0;
}

}  // namespace

IndexFileStatus ReadIndexFile(const UTF16String& inIndexPath, const UTF16String& inMediaPath,
                              const Pavlin::utility::Guid& inIdentity, StoredIndex& outIndex) {
    Orvet::File file;
    if (file.Open(inIndexPath, Orvet::FileAccess::Read) < 0) return IndexFileStatus::NotOpened;
    const std::int64_t size = file.SizeOnDisk();
    constexpr auto kHeaderSize = static_cast<std::int64_t>(sizeof(IndexHeader));
    if (size < kHeaderSize) return IndexFileStatus::TooShort;

    StoredIndex index{};
    std::size_t got = 0;
    if (file.Read(&index.header, sizeof(IndexHeader), got) < 0 || got != sizeof(IndexHeader)) {
        return IndexFileStatus::NotRead;
    }
    std::int64_t lastModified = 0;
    if (Orvet::File::GetLastModificationTime(inMediaPath, lastModified) < 0) return IndexFileStatus::NotRead;
    if (index.header.version != kIndexVersion || index.header.identity != inIdentity) {
        return IndexFileStatus::OtherMedia;
    }
    if (index.header.streamKind != kStreamKindFailed) {
        const std::int64_t held = (size - kHeaderSize) / static_cast<std::int64_t>(sizeof(FrameRecord));
        if (index.header.recordCount > held + kMostMissing) return IndexFileStatus::NotRead;
        if (ReadRecords(file, index.header.recordCount, index.records) < 0) return IndexFileStatus::NotRead;
    }
    outIndex = std::move(index);
    return IndexFileStatus::Found;
}

std::int32_t WriteIndexRecords(Orvet::File& ioFile, const IndexHeader& inHeader,
                               const std::vector<FrameRecord>& inRecords) {
    const std::int32_t status = ioFile.Write(&inHeader, sizeof(IndexHeader));
    if (status < 0 || inRecords.empty()) return status;
    return ioFile.Write(inRecords.data(), inRecords.size() * sizeof(FrameRecord));
}

}  // namespace Vexmora
