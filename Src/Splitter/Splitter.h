// The source of coded video behind a decoder: finds out what a file is and hands out its pictures one by one.
#pragma once

#include <cstdint>

#include "CodedPicture/CodedPictureBuffer.h"
#include "Splitter/BlockReader.h"
#include "Splitter/ReadStatus.h"
#include "Vexmora/HostServices.h"
#include "Vexmora/UTF16String.h"

namespace Vexmora {

/// Splits the video in a file, be it an elementary, program or transport stream, into pictures. Open comes
/// first, then Seek and ReadPicture in any order. One thread at a time.
class Splitter {
  public:
    /// Opens the file; whether that went well, Open tells. inServices becomes the process's. Block sizes
    /// other than the usual are for tests. Throws std::bad_alloc.
    Splitter(const UTF16String& inPath, const HostServices& inServices,
             std::uint32_t inLeastBlockSize = BlockReader::kLeastBlockSize);
    virtual ~Splitter() = default;
    Splitter(const Splitter&) = delete;
    Splitter& operator=(const Splitter&) = delete;

    /// Looks at the first bytes of the file: UnsupportedFormat if they are those of a format that is not
    /// read, FileFailed if the file could not be opened. Called once. Then ReadPicture comes before any Seek:
    /// the first read of a file that is not a transport stream decides between program and elementary stream.
    virtual ReadStatus Open();

    /// Fills ioBuffer with the video from where the last call stopped up to and including the next picture
    /// start code or sequence end code, as words in host order. The first call after a Seek to an index
    /// record's offset thus gives what precedes the picture's temporal_reference, and each further call one
    /// picture.
    ///
    /// When the video ends (EndOfData), or reading fails, the buffer has what there was and four zero bytes.
    /// When the picture does not leave kReserve bytes free (EndOfData, too), the buffer has its bytes in
    /// stream order, and what lies behind its end, if that was found, is carried over.
    virtual ReadStatus ReadPicture(CodedPictureBuffer& ioBuffer);

    /// Goes on reading at inOffset in the file, and drops what ioBuffer carries over.
    void Seek(std::int64_t inOffset, CodedPictureBuffer& ioBuffer);

    /// Whether the source is known to be an elementary stream.
    bool IsPureVideo() const { return mPureVideo; }
    /// Bytes of the blocks in which the file is read.
    std::uint32_t BlockSize() const { return mReader.BlockSize(); }

    /// Bytes that a picture leaves free in the buffer.
    static constexpr std::uint32_t kReserve = 8192;

  protected:
    bool mFirstRead = false;
    bool mPureVideo = false;
    bool mTransportStream = false;

  private:
    static constexpr std::uint32_t kUnknownPid = 0xFFFFFFFF;
    static constexpr std::uint32_t kNoVideoPid = 0xFFFFFFFE;

    ReadStatus ReadMore(CodedPictureBuffer& ioBuffer);
    ReadStatus ReadElementary(CodedPictureBuffer& ioBuffer);
    static std::uint32_t AppendSize(const CodedPictureBuffer& inBuffer);

    // Splitter_ProgramStream
    ReadStatus ReadProgramStream(CodedPictureBuffer& ioBuffer);
    ReadStatus ReadFirstOfElementary(CodedPictureBuffer& ioBuffer, std::int64_t inFrom);
    ReadStatus WalkPackets(std::uint32_t inWord, CodedPictureBuffer& ioBuffer);
    ReadStatus SkipPackHeader();
    ReadStatus SkipSystemHeader();
    ReadStatus ReadPesPacket(std::uint32_t inWord, CodedPictureBuffer& ioBuffer, bool& outIsVideo);
    ReadStatus AppendPesPayload(CodedPictureBuffer& ioBuffer);

    // Splitter_TransportStream
    ReadStatus ReadTransportStream(CodedPictureBuffer& ioBuffer);
    ReadStatus FindSyncByte();
    ReadStatus ReadTransportPayload(CodedPictureBuffer& ioBuffer);
    ReadStatus DiscoverVideoPid(CodedPictureBuffer& ioBuffer);
    ReadStatus ReadTransportPacket(CodedPictureBuffer& ioBuffer);
    void AppendPacketsInBlock(CodedPictureBuffer& ioBuffer);

    BlockReader mReader;
    std::uint32_t mPesPayloadLeft = 0;  // program stream: bytes of the current packet that did not fit
    std::uint32_t mPmtPid = kUnknownPid;
    std::uint32_t mVideoPid = kUnknownPid;  // kNoVideoPid: the tables list no MPEG-2 video
};

}  // namespace Vexmora
