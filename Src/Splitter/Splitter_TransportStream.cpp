// Transport streams: the video PID is learnt from the tables at the start of the file, then the payloads of
// its packets are appended (ISO/IEC 13818-1, 2.4).
#include <algorithm>
#include <array>
#include <optional>

#include "Splitter/Splitter.h"
#include "mpeg_system/PesHeader.h"
#include "mpeg_system/StartCodes.h"
#include "mpeg_system/TransportTables.h"

namespace Vexmora {
namespace {

// Packets of other PIDs never hold video or tables of ours.
constexpr PidRange kUsablePids{3, 0x1FFC};

// Where the video in a packet of the video PID begins: behind the adaptation field and, if a PES packet
// begins here, behind its header. kTransportPacketSize when it holds none, or a header reaches beyond the
// packet.
std::size_t VideoOffset(TransportPacket inPacket) {
    if (!HasPayload(inPacket)) return kTransportPacketSize;
    std::size_t at = PayloadOffset(inPacket);
    if (StartsUnit(inPacket)) {
        if (at + kPesFixedHeaderSize > kTransportPacketSize) return kTransportPacketSize;
        at += PesHeaderSize(&inPacket[at]);
    }
    return std::min(at, kTransportPacketSize);
}

// The PID of the first ISO/IEC 13818-2 video in a program map table. An entry that section_length does not
// count whole is one.
std::optional<std::uint32_t> FindVideoPid(TransportPacket inPacket) {
    ProgramMapEntries entries(inPacket);
    while (const auto entry = entries.Next(1)) {
        if (entry->stream_type == kStreamTypeMpeg2Video) return entry->elementary_PID;
    }
    return {};
}

bool HasRoomForPacket(const CodedPictureBuffer& inBuffer) {
    return inBuffer.FreeBytes() > kTransportPacketSize;
}

}  // namespace

ReadStatus Splitter::ReadTransportStream(CodedPictureBuffer& ioBuffer) {
    constexpr std::int64_t kPacketRest = kTransportPacketSize - 1;
    if (mReader.GetPosition() > mReader.GetFileSize() - kPacketRest) return ReadStatus::EndOfData;
    if (mFirstRead) {
        mFirstRead = false;
        std::uint8_t first = 0;
        if (const ReadStatus status = mReader.ReadUInt8(first); status != ReadStatus::Ok) return status;
        mReader.Skip(-1);
        if (first != kTransportStreamSyncByte) {
            std::uint32_t found = 0;
            return mReader.FindStartCode(kSequenceHeaderCode, found);
        }
    } else if (const ReadStatus status = FindSyncByte(); status != ReadStatus::Ok) {
        return status;
    }
    return ReadTransportPayload(ioBuffer);
}

// Moves to the next sync byte, which is at most a packet away.
ReadStatus Splitter::FindSyncByte() {
    for (std::size_t distance = 0; distance <= kTransportPacketSize; ++distance) {
        std::uint8_t byte = 0;
        if (const ReadStatus status = mReader.ReadUInt8(byte); status != ReadStatus::Ok) return status;
        if (byte == kTransportStreamSyncByte) {
            mReader.Skip(-1);
            return ReadStatus::Ok;
        }
    }
    return ReadStatus::EndOfData;
}

ReadStatus Splitter::ReadTransportPayload(CodedPictureBuffer& ioBuffer) {
    if (mVideoPid == kUnknownPid) {
        if (const ReadStatus status = DiscoverVideoPid(ioBuffer); status != ReadStatus::Ok) return status;
    }
    if (mVideoPid == kNoVideoPid) return ReadStatus::EndOfData;
    if (!HasRoomForPacket(ioBuffer)) return ReadStatus::ServiceFailed;
    const std::uint32_t size = ioBuffer.Size();
    while (ioBuffer.Size() == size) {
        if (const ReadStatus status = ReadTransportPacket(ioBuffer); status != ReadStatus::Ok) return status;
    }
    AppendPacketsInBlock(ioBuffer);
    return ReadStatus::Ok;
}

// Reads packets until the tables have told the video PID, or sync is lost, and goes back to the file's
// start.
ReadStatus Splitter::DiscoverVideoPid(CodedPictureBuffer& ioBuffer) {
    std::uint8_t next = kTransportStreamSyncByte;
    while (next == kTransportStreamSyncByte && mVideoPid == kUnknownPid) {
        if (const ReadStatus status = ReadTransportPacket(ioBuffer); status != ReadStatus::Ok) return status;
        if (const ReadStatus status = mReader.ReadUInt8(next); status != ReadStatus::Ok) return status;
        mReader.Skip(-1);
        if (!HasRoomForPacket(ioBuffer)) return ReadStatus::ServiceFailed;
    }
    mReader.SetPosition(0);
    return ReadStatus::Ok;
}

// Reads one packet and appends its video, or learns from it. A packet that the end of the file cuts off is
// taken as far as it goes.
ReadStatus Splitter::ReadTransportPacket(CodedPictureBuffer& ioBuffer) {
    std::array<std::uint8_t, kTransportPacketSize> copy;
    const std::uint8_t* bytes = mReader.BytesInBlock().data();
    std::uint32_t got = kTransportPacketSize;
    if (mReader.BytesInBlock().size() >= kTransportPacketSize) {
        mReader.Skip(kTransportPacketSize);
    } else {
        if (const ReadStatus status = mReader.Read(copy.data(), got, got); status != ReadStatus::Ok)
            return status;
        bytes = copy.data();
    }
    const TransportPacket packet(bytes, kTransportPacketSize);
    if (packet[0] != kTransportStreamSyncByte) {
        mReader.Skip(1 - std::int64_t{got});
        return ReadStatus::LostSync;
    }
    const std::uint32_t pid = PacketPid(packet);
    if (pid == kProgramAssociationPid && mPmtPid == kUnknownPid) {
        if (PointerField(packet) == 0) mPmtPid = FindProgramMapPid(packet).value_or(kUnknownPid);
    } else if (!kUsablePids.Contains(pid)) {
        // Nothing in it is of use.
    } else if (pid == mPmtPid && mVideoPid == kUnknownPid) {
        mVideoPid = FindVideoPid(packet).value_or(kNoVideoPid);
    } else if (const std::size_t offset = VideoOffset(packet); pid == mVideoPid && offset < got) {
        ioBuffer.Append(packet.subspan(offset));
        return ReadStatus::Ok;
    }
    return got == kTransportPacketSize ? ReadStatus::Ok : ReadStatus::EndOfData;
}

// Appends the video of further packets that lie whole in the current block, for the scan to have a good
// piece of it at once. The position ends up right behind a packet of video: whatever comes then, lost sync
// or the end of the file, is met where it would be without this.
void Splitter::AppendPacketsInBlock(CodedPictureBuffer& ioBuffer) {
    const std::uint32_t roomForPictures = std::max(ioBuffer.FreeBytes(), kReserve) - kReserve;
    const std::uint32_t enough = ioBuffer.Size() + std::min(AppendSize(ioBuffer), roomForPictures);
    const std::span<const std::uint8_t> bytes = mReader.BytesInBlock();
    std::size_t taken = 0;
    for (std::size_t at = 0; ioBuffer.Size() < enough && at + kTransportPacketSize <= bytes.size();
         at += kTransportPacketSize) {
        const auto packet = bytes.subspan(at).first<kTransportPacketSize>();
        if (packet[0] != kTransportStreamSyncByte) break;
        if (PacketPid(packet) != mVideoPid || !kUsablePids.Contains(mVideoPid)) continue;
        const std::size_t offset = VideoOffset(packet);
        if (offset == kTransportPacketSize) continue;
        ioBuffer.Append(packet.subspan(offset));
        taken = at + kTransportPacketSize;
    }
    mReader.Skip(static_cast<std::int64_t>(taken));
}

}  // namespace Vexmora
