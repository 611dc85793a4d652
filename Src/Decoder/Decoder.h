// The object behind a file or buffer handle: one source of coded video, its index and its parameters.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "CodedPicture/CodedPictureBuffer.h"
#include "Decoder/IndexFileProgress.h"
#include "Decoder/ParametersByPosition.h"
#include "Decoder/PictureRequest.h"
#include "Decoder/PlaneSizes.h"
#include "Splitter/Splitter.h"
#include "Vexmora/FileInfo.h"
#include "Vexmora/HostServices.h"
#include "Vexmora/Records.h"
#include "Vexmora/Status.h"
#include "Vexmora/UTF16String.h"
#include "index_file/IndexFile_Format.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/DecodeStatus.h"
#include "mpeg2/DecodingTables.h"
#include "mpeg2/Parameters.h"

namespace Vexmora {

/// Opened once by one of OpenFile, OpenWithIndex and OpenBuffer; on another status than the two that leave a
/// handle it is only good for destruction. One thread at a time. Operations throw std::bad_alloc when the
/// host or the system has no memory.
class Decoder {
  public:
    /// For the file at inPath. inServices becomes the process's.
    Decoder(const UTF16String& inPath, const HostServices& inServices, bool inIndexFlag);
    /// For a buffer that the host fills.
    explicit Decoder(const HostServices& inServices);

    /// Loads the file's index if the host knows one. outIndexHeader, which may be null, then receives its
    /// header. Ok: indexed; NotFinished: open without an index; otherwise not open.
    [[nodiscard]] Vexmora_Status OpenFile(IndexHeader* outIndexHeader);
    /// Takes the index from the host. Ok, or not usable.
    [[nodiscard]] Vexmora_Status OpenWithIndex(const IndexHeader& inHeader,
                                               const std::vector<FrameRecord>& inRecords);
    /// Makes the buffer; outBuffer receives its address on Ok.
    [[nodiscard]] Vexmora_Status OpenBuffer(std::uint32_t inBufferSize, std::uint8_t** outBuffer);

    /// Indexes the next part of the file, see Vexmora_IndexFile.
    [[nodiscard]] Vexmora_Status IndexFile(float& outProgress, bool inIndexFlag);

    [[nodiscard]] Vexmora_Status GetFileInfo(FileInfo& outInfo);
    std::uint32_t GetVideoFrameOffset() const { return mIndex.header.firstFrame; }

    /// 0 and 0 while no sequence header is known.
    PlaneSizes GetFrameSizes();

    /// The rules of frame numbers, which are display indices; see the exports of the same names.
    bool IsFrameValid(std::int32_t inFrame) const;
    std::int32_t GetLastGoodFrame(std::int32_t inFrame) const;
    [[nodiscard]] Vexmora_Status GetFrameDependancies(std::int32_t inFrame, std::int32_t& outForward,
                                                      std::int32_t& outBackward) const;

    /// Finds frame inFrame through the index and decodes it; see Vexmora_GetFrame. The output stands in for a
    /// past reference that is not there.
    [[nodiscard]] Vexmora_Status GetFrame(std::int32_t inFrame, const PictureRequest& inRequest);
    /// Decodes the picture of type inPictureType that the host wrote into the buffer; see
    /// Vexmora_GetFrameFromBuffer.
    [[nodiscard]] Vexmora_Status GetFrameFromBuffer(std::uint32_t inDataSize, std::uint32_t inPictureType,
                                                    const PictureRequest& inRequest);

  private:
    [[nodiscard]] Vexmora_Status Open();
    void UseIndex();
    bool IsSupportedMedia() const;
    bool IsBufferInstance() const { return static_cast<bool>(mBuffer); }
    [[nodiscard]] Vexmora_Status EnsureSequenceHeader();
    [[nodiscard]] Vexmora_Status FindSequenceHeader();
    Vexmora_Status DecodeInFile(const CountedRef<CodedPictureBuffer>& inBuffer,
                                const SequenceParameters& inParameters, PictureRequest inRequest) const;
    bool TakeHeadersFromBuffer();
    void TakeSequenceHeaders(BitReader& ioReader);
    bool CompletesFrame(const PictureHeader& inPicture) const;
    DecodeStatus DecodePicture(const CountedRef<CodedPictureBuffer>& inBuffer,
                               DecodingParameters& ioParameters, BitReader& ioReader,
                               const PictureRequest& inRequest) const;
    CountedRef<CodedPictureBuffer> MakeCodedPictureBuffer(std::uint32_t inBytes);

    const UTF16String mPath;
    const HostServices mServices;
    const bool mIndexFlag;
    const std::unique_ptr<Splitter> mSplitter;
    /// Keeps the process's decoding tables.
    const DecodingTables mTables;
    StartCodeTable mStartCodes;
    /// Of a file: those of its first sequence header, which say what planes the host has. Of a buffer
    /// instance: those in force.
    SequenceParameters mParameters;
    /// The sequence header was looked for, found or not.
    bool mSequenceHeaderRead = false;

    StoredIndex mIndex;
    /// Records that frame access may address: none until an index with records is loaded, then all of them.
    std::int32_t mFrameCount = 0;
    IndexFileProgress mIndexing;
    /// Made by the first request for a frame, because it looks at all records.
    std::optional<ParametersByPosition> mByPosition;

    /// Capacity of each buffer that a picture is read into.
    std::uint32_t mReadBufferSize = 1024 * 1024;
    /// Of a buffer instance: the buffer that the host writes into.
    CountedRef<CodedPictureBuffer> mBuffer;
    /// Of a buffer instance: the sequence that the host's planes are made for, the first one or the one of
    /// which it has last asked the sizes. Damaged headers must not make pictures larger than planes.
    SequenceHeader mPlanes;
    /// Of a buffer instance: the field that began a frame which no other has completed yet.
    std::optional<PictureHeader> mFirstField;
};

}  // namespace Vexmora
