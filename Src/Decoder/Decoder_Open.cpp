// The three ways of opening, and the first sequence header that all of them rely on.
#include <algorithm>
#include <array>
#include <cstddef>

#include "Decoder/Decoder.h"
#include "Indexer/Indexer_MediaType.h"
#include "Orvet/File.h"
#include "Splitter/Splitter_Buffer.h"
#include "index_file/IndexFile_Location.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/Headers.h"

namespace Vexmora {
namespace {

// No index that was built has a larger picture; a header that says so is not to be believed.
constexpr std::uint32_t kLargestPicture = 16 * 1024 * 1024;

// The header of an instance without an index.
IndexHeader NoIndexHeader() {
    IndexHeader header{};
    header.streamKind = kStreamKindFailed;
    header.reserved68 = ~std::uint64_t{0};
    return header;
}

// Room for the largest picture, at least one block behind it and the reserve, in whole blocks.
std::uint32_t ReadBufferSize(std::uint32_t inMaxPictureSize, std::uint32_t inBlockSize) {
    constexpr std::uint64_t kSlack = Splitter::kReserve + 3;
    const std::uint64_t wanted =
        std::min(inMaxPictureSize, kLargestPicture) + 2 * std::uint64_t{inBlockSize} + kSlack;
    return static_cast<std::uint32_t>(wanted / inBlockSize * inBlockSize);
}

}  // namespace

Decoder::Decoder(const UTF16String& inPath, const HostServices& inServices, bool inIndexFlag)
    : mPath(inPath),
      mServices(inServices),
      mIndexFlag(inIndexFlag),
      mSplitter(std::make_unique<Splitter>(mPath, mServices)),
      mIndex{NoIndexHeader(), {}} {}

Decoder::Decoder(const HostServices& inServices)
    : mServices(inServices),
      mIndexFlag(false),
      mSplitter(std::make_unique<BufferSplitter>(mServices)),
      mIndex{NoIndexHeader(), {}} {}

Vexmora_Status Decoder::OpenFile(IndexHeader* outIndexHeader) {
    const bool isFound =
        FindIndex(mServices.indexLocation, mPath, mIndexFlag, mIndex) == IndexFileStatus::Found;
    if (isFound) {
        if (mIndex.header.streamKind == kStreamKindFailed) return Vexmora_Unsupported;
        if (outIndexHeader != nullptr) *outIndexHeader = mIndex.header;
    }
    return Open();
}

Vexmora_Status Decoder::OpenWithIndex(const IndexHeader& inHeader,
                                      const std::vector<FrameRecord>& inRecords) {
    if (inHeader.streamKind == kStreamKindFailed) return Vexmora_Unsupported;
    if (inRecords.size() < inHeader.recordCount) return Vexmora_Unsupported;
    mIndex.header = inHeader;
    mIndex.records.assign(inRecords.begin(),
                          inRecords.begin() + static_cast<std::ptrdiff_t>(inHeader.recordCount));
    return Open();
}

// Opens the file with the index in hand, which may have no records.
Vexmora_Status Decoder::Open() {
    const bool isIndexed = !mIndex.records.empty();
    if (isIndexed) {
        UseIndex();
    } else if (!IsSupportedMedia()) {
        return Vexmora_Unsupported;
    }
    if (mSplitter->Open() != ReadStatus::Ok) return Vexmora_Failure;
    if (const Vexmora_Status status = EnsureSequenceHeader(); status != Vexmora_Ok) return status;
    return isIndexed ? Vexmora_Ok : Vexmora_NotFinished;
}

void Decoder::UseIndex() {
    constexpr std::size_t kMostFrames = 0x7FFFFFFF;
    mFrameCount = static_cast<std::int32_t>(std::min(mIndex.records.size(), kMostFrames));
    mReadBufferSize = ReadBufferSize(mIndex.header.maxPictureSize, mSplitter->BlockSize());
}

Vexmora_Status Decoder::OpenBuffer(std::uint32_t inBufferSize, std::uint8_t** outBuffer) {
    if (mSplitter->Open() != ReadStatus::Ok) return Vexmora_Failure;
    mReadBufferSize = inBufferSize;
    mBuffer = MakeCodedPictureBuffer(mReadBufferSize);
    *outBuffer = mBuffer->Data();
    return Vexmora_Ok;
}

bool Decoder::IsSupportedMedia() const {
    std::array<std::uint8_t, kMediaTypeBytes> bytes{};
    std::size_t got = 0;
    Orvet::File file;
    const bool isRead = file.Create(mPath, Orvet::FileAccess::Read, Orvet::FileShare::Read,
                                    Orvet::FileDisposition::OpenExisting, Orvet::FileAttributes::None) >= 0 &&
                        file.Read(bytes.data(), bytes.size(), got) >= 0;
    return isRead && ClassifyMedia({bytes.data(), got}) != MediaType::Unsupported;
}

// Looks for the first sequence header once; only that one call can fail. A buffer instance has none before
// its host has asked for a first picture.
Vexmora_Status Decoder::EnsureSequenceHeader() {
    if (mSequenceHeaderRead) return Vexmora_Ok;
    if (IsBufferInstance()) return Vexmora_NoSequenceHeader;
    mSequenceHeaderRead = true;
    return FindSequenceHeader();
}

Vexmora_Status Decoder::FindSequenceHeader() {
    const CountedRef<CodedPictureBuffer> buffer = MakeCodedPictureBuffer(mReadBufferSize);
    ReadStatus read = ReadStatus::Ok;
    while ((read = mSplitter->ReadPicture(*buffer)) == ReadStatus::Ok) {
        BitReader reader(*buffer);
        if (!Vexmora::FindSequenceHeader(reader)) continue;
        if (ParseSequenceHeader(reader, mParameters) != DecodeStatus::Ok) return Vexmora_NoSequenceHeader;
        return mParameters.sequence.chromaBlocks == kChromaBlocks420 ? Vexmora_Ok : Vexmora_Unsupported;
    }
    return read == ReadStatus::ServiceFailed ? Vexmora_Failure : Vexmora_NoSequenceHeader;
}

CountedRef<CodedPictureBuffer> Decoder::MakeCodedPictureBuffer(std::uint32_t inBytes) {
    return CodedPictureBuffer::Create(inBytes, mStartCodes, mServices);
}

}  // namespace Vexmora
