// Formats that are refused, the framing of pictures, and elementary streams.
#include "Splitter/Splitter.h"

#include <algorithm>
#include <array>

#include "mpeg_system/TransportPacket.h"

namespace Vexmora {
namespace {

constexpr std::uint32_t kAsfFirstWord = 0x3026B275;
constexpr std::uint32_t kAsfSecondWord = 0x8E66CF11;

constexpr std::uint32_t FourCharacters(const char (&inText)[5]) {
    std::uint32_t word = 0;
    for (int index = 0; index < 4; ++index) word = word << 8 | static_cast<std::uint8_t>(inText[index]);
    return word;
}

// Whether a file that begins with these words is of a format that could be mistaken for MPEG-2.
bool IsForeign(std::uint32_t inFirst, std::uint32_t inSecond) {
    constexpr std::array kBoxes = {FourCharacters("udta"), FourCharacters("skpp"), FourCharacters("frea"),
                                   FourCharacters("mdat"), FourCharacters("moov")};
    const bool isMpeg4Visual = (inFirst >= 0x100 && inFirst <= 0x11F) || inFirst == 0x1B0;
    const bool isH263 = (inFirst & 0xFFFFFC00) == 0x8000;
    return inFirst == FourCharacters("ADIF") || isMpeg4Visual || isH263 ||
           std::find(kBoxes.begin(), kBoxes.end(), inSecond) != kBoxes.end();
}

}  // namespace

Splitter::Splitter(const UTF16String& inPath, const HostServices& inServices, std::uint32_t inLeastBlockSize)
    : mReader(static_cast<std::uint32_t>(inServices.cacheId), inLeastBlockSize) {
    SetProcessHostServices(inServices);
    if (!inPath.empty() && mReader.OpenFile(inPath) != ReadStatus::Ok) mReader.CloseFile();
}

ReadStatus Splitter::Open() {
    if (!mReader.IsOpen()) return ReadStatus::FileFailed;
    std::array<std::uint32_t, 2> words{};
    for (std::uint32_t& word : words) {
        if (const ReadStatus status = mReader.ReadUInt32(word); status != ReadStatus::Ok) return status;
    }
    bool foreign = IsForeign(words[0], words[1]);
    if (words[0] == kAsfFirstWord && words[1] == kAsfSecondWord) {
        // The rest of the header object's identifier must be there, whatever it says.
        foreign = true;
        for (std::uint32_t& word : words) {
            if (const ReadStatus status = mReader.ReadUInt32(word); status != ReadStatus::Ok) return status;
        }
    }
    mReader.SetPosition(0);
    if (foreign) return ReadStatus::UnsupportedFormat;
    mFirstRead = true;
    mTransportStream = words[0] >> 24 == kTransportStreamSyncByte;
    return ReadStatus::Ok;
}

void Splitter::Seek(std::int64_t inOffset, CodedPictureBuffer& ioBuffer) {
    ioBuffer.ClearCarry();
    mReader.SetPosition(inOffset);
    mPesPayloadLeft = 0;
}

ReadStatus Splitter::ReadPicture(CodedPictureBuffer& ioBuffer) {
    ioBuffer.SetSize(0);
    ioBuffer.ResetScan();
    for (;;) {
        if (ioBuffer.CarrySize() != 0) {
            ioBuffer.MoveCarryToFront();
        } else if (const ReadStatus status = ReadMore(ioBuffer); status != ReadStatus::Ok) {
            constexpr std::array<std::uint8_t, 4> kZeros = {};
            ioBuffer.Append(kZeros);
            ioBuffer.SwapWords();
            return status;
        }
        const bool complete = ioBuffer.ScanForPictureEnd();
        if (ioBuffer.Size() + std::uint64_t{kReserve} >= ioBuffer.Capacity()) return ReadStatus::EndOfData;
        if (complete) {
            ioBuffer.SwapWords();
            return ReadStatus::Ok;
        }
    }
}

ReadStatus Splitter::ReadMore(CodedPictureBuffer& ioBuffer) {
    return mTransportStream ? ReadTransportStream(ioBuffer) : ReadProgramStream(ioBuffer);
}

// How many bytes to append before the next scan. What lies behind a picture's end is moved to the front for
// the next one, so no more than the picture has already: that bounds the moving by the size of the pictures,
// however large the buffer. At most what stays in the processor's nearest cache from the copy to the scan.
// Which bytes each picture gets does not depend on it.
std::uint32_t Splitter::AppendSize(const CodedPictureBuffer& inBuffer) {
    constexpr std::uint32_t kLeast = 4096;
    constexpr std::uint32_t kMost = 32768;
    return std::min(std::clamp(inBuffer.Size(), kLeast, kMost), inBuffer.FreeBytes());
}

ReadStatus Splitter::ReadElementary(CodedPictureBuffer& ioBuffer) {
    // A picture that reaches into the reserve is given up: then all that fits is looked at, for the end of
    // the picture may be in it.
    const std::uint32_t count = AppendSize(ioBuffer);
    const bool reachesReserve = ioBuffer.FreeBytes() <= kReserve + count;
    std::uint32_t got = 0;
    const ReadStatus status =
        mReader.Read(ioBuffer.End(), reachesReserve ? ioBuffer.FreeBytes() : count, got);
    ioBuffer.SetSize(ioBuffer.Size() + std::uint64_t{got});
    return status;
}

}  // namespace Vexmora
