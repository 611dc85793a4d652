// Program streams: packs and packets are walked, and the payloads of the video packets appended (ISO/IEC
// 13818-1, 2.5). The first read also tells an elementary stream from them.
#include <algorithm>

#include "Splitter/Splitter.h"
#include "mpeg_system/StartCodes.h"

namespace Vexmora {
namespace {

constexpr std::uint32_t StartCodeClass(std::uint32_t inWord) {
    return inWord & 0xFFFFF100;
}

}  // namespace

ReadStatus Splitter::ReadProgramStream(CodedPictureBuffer& ioBuffer) {
    if (mPureVideo) return ReadElementary(ioBuffer);
    if (mPesPayloadLeft != 0) return AppendPesPayload(ioBuffer);
    const std::int64_t start = mReader.GetPosition();
    std::uint32_t word = 0;
    const bool firstRead = mFirstRead;
    mFirstRead = false;
    if (const ReadStatus status = mReader.ReadUInt32(word); status != ReadStatus::Ok) return status;
    if (firstRead && word != kPackStartCode) return ReadFirstOfElementary(ioBuffer, start);
    return WalkPackets(word, ioBuffer);
}

// A file that does not begin with a pack is elementary video from its first sequence header on.
ReadStatus Splitter::ReadFirstOfElementary(CodedPictureBuffer& ioBuffer, std::int64_t inFrom) {
    mReader.SetPosition(inFrom);
    std::uint32_t found = 0;
    if (const ReadStatus status = mReader.FindStartCode(kSequenceHeaderCode, found);
        status != ReadStatus::Ok) {
        return status;
    }
    mPureVideo = true;
    mReader.Skip(-std::int64_t{kStartCodeSize});
    return ReadElementary(ioBuffer);
}

// Appends the payload of the next video packet. inWord was read where a start code is expected.
ReadStatus Splitter::WalkPackets(std::uint32_t inWord, CodedPictureBuffer& ioBuffer) {
    for (std::uint32_t word = inWord;;) {
        if (word == kProgramEndCode || StartCodeClass(word) == 0) return ReadStatus::EndOfData;
        ReadStatus status = ReadStatus::Ok;
        bool isVideo = false;
        if (word == kPackStartCode) {
            status = SkipPackHeader();
        } else if (word == kSystemHeaderStartCode) {
            status = SkipSystemHeader();
        } else if (StartCodeClass(word) == 0x100) {
            status = ReadPesPacket(word, ioBuffer, isVideo);
        }
        if (status != ReadStatus::Ok || isVideo) return status;
        status = mReader.ReadUInt32(word);
        if (status != ReadStatus::Ok) return status;
    }
}

// Behind the pack's start code. A pack of ISO/IEC 11172-1 ends the data.
ReadStatus Splitter::SkipPackHeader() {
    std::uint32_t clock = 0;
    if (const ReadStatus status = mReader.ReadUInt32(clock); status != ReadStatus::Ok) return status;
    if ((clock & 0x60000000) == 0x20000000) return ReadStatus::EndOfData;
    mReader.Skip(5);
    std::uint8_t stuffing = 0;
    if (const ReadStatus status = mReader.ReadUInt8(stuffing); status != ReadStatus::Ok) return status;
    mReader.Skip(stuffing & 7);
    return ReadStatus::Ok;
}

ReadStatus Splitter::SkipSystemHeader() {
    std::uint16_t length = 0;
    if (const ReadStatus status = mReader.ReadUInt16(length); status != ReadStatus::Ok) return status;
    mReader.Skip(length);
    return ReadStatus::Ok;
}

// Behind the start code of a packet with a length: skips it, or appends its payload if it is video.
ReadStatus Splitter::ReadPesPacket(std::uint32_t inWord, CodedPictureBuffer& ioBuffer, bool& outIsVideo) {
    std::uint16_t length = 0;
    if (const ReadStatus status = mReader.ReadUInt16(length); status != ReadStatus::Ok) return status;
    if (length == 0) return ReadStatus::Ok;
    if (!IsVideoStreamCode(inWord)) {
        mReader.Skip(length);
        return ReadStatus::Ok;
    }
    std::uint32_t headerSize = 0;
    if (const ReadStatus status = mReader.PeekPESHeaderSize(headerSize); status != ReadStatus::Ok)
        return status;
    if (headerSize > length) {
        mReader.Skip(length);  // damaged: a header does not reach beyond its packet
        return ReadStatus::Ok;
    }
    mReader.Skip(headerSize);
    outIsVideo = true;
    mPesPayloadLeft = length - headerSize;
    return AppendPesPayload(ioBuffer);
}

// Appends some of the current payload. The rest, if any, comes with the next call, so that no byte is lost
// when a picture ends in a full buffer.
ReadStatus Splitter::AppendPesPayload(CodedPictureBuffer& ioBuffer) {
    const std::uint32_t count = std::min(mPesPayloadLeft, AppendSize(ioBuffer));
    std::uint8_t* const destination = ioBuffer.End();
    mPesPayloadLeft -= count;
    ioBuffer.SetSize(ioBuffer.Size() + std::uint64_t{count});
    std::uint32_t got = 0;
    return mReader.Read(destination, count, got);
}

}  // namespace Vexmora
