// Reading and writing index files.
#include "index_file/IndexFile_Format.h"

#include <algorithm>

namespace Vexmora {
namespace {

// What the index of a stream of a given length can hold: a picture takes at least 5 bytes, and temporal
// references may leave up to a million holes beside the pictures.
constexpr std::int64_t kSmallestPicture = 5;
constexpr std::int64_t kMostHoles = 1'000'001;

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
    if (file.SizeOnDisk() < static_cast<std::int64_t>(sizeof(IndexHeader))) return IndexFileStatus::TooShort;

    StoredIndex index{};
    std::size_t got = 0;
    if (file.Read(&index.header, sizeof(IndexHeader), got) < 0 || got != sizeof(IndexHeader)) {
        return IndexFileStatus::NotRead;
    }
    std::int64_t lastModified = 0;
    const std::int64_t mediaSize = Orvet::File::SizeOnDisk(inMediaPath);
    if (mediaSize < 0 || Orvet::File::GetLastModificationTime(inMediaPath, lastModified) < 0) {
        return IndexFileStatus::NotRead;
    }
    if (index.header.version != kIndexVersion || index.header.identity != inIdentity) {
        return IndexFileStatus::OtherMedia;
    }
    if (index.header.streamKind != kStreamKindFailed) {
        if (index.header.recordCount > mediaSize / kSmallestPicture + kMostHoles)
            return IndexFileStatus::NotRead;
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
