// Packet framing, and what each packet adds to the index.
#include "Indexer/Indexer_TransportStream.h"

#include <algorithm>
#include <cstring>

#include "Contract/Contract.h"
#include "mpeg_system/PesHeader.h"

namespace Vexmora {
namespace {

constexpr std::uint32_t kProgramAssociationPid = 0;
// Packets with reserved PIDs (ISO/IEC 13818-1, table 2-3) carry neither tables of ours nor video.
constexpr std::uint32_t kFirstUsablePid = 16;
constexpr std::uint32_t kLastUsablePid = 8190;
// A payload must hold this much to tell what it starts.
constexpr std::size_t kSmallestPesStart = 8;
constexpr std::size_t kStartCodeSize = 4;

const std::uint8_t* FindSync(const std::uint8_t* inBytes, std::size_t inCount) {
    return static_cast<const std::uint8_t*>(std::memchr(inBytes, kTransportStreamSyncByte, inCount));
}

}  // namespace

bool TransportStreamIndexer::ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize,
                                        std::uint64_t inPosition) {
    std::size_t at = 0;
    while (!mState.failed) {
        const std::size_t left = inSize - at;
        const std::size_t needed = kTransportPacketSize - mPacketFill;
        if (left < needed) {
            if (left > 0) {
                std::memcpy(mPacketBuffer.data() + mPacketFill, inBuffer + at, left);
                mPacketFill += left;
                mSyncState = SyncState::PartialHeld;
            }
            break;
        }
        if (mSyncState == SyncState::PartialHeld) {
            CompletePacketBuffer(inBuffer + at, needed, inPosition + at + needed);
            at += needed;
        } else if (mSyncState == SyncState::InStep && inBuffer[at] == kTransportStreamSyncByte) {
            Check(left >= kTransportPacketSize, contracts::kWholePacket);
            // Most packets are the inside of a video PES packet.
            if (IsPlainVideo(inBuffer + at)) {
                FeedVideoPayload(inBuffer + at, kTransportStreamHeaderSize, inPosition + at);
            } else {
                ProcessPacket(inBuffer + at, inPosition + at);
            }
            at += kTransportPacketSize;
        } else {
            const std::uint8_t* sync = FindSync(inBuffer + at, left);
            mSyncState = sync != nullptr ? SyncState::InStep : SyncState::Searching;
            if (sync == nullptr) break;
            at = static_cast<std::size_t>(sync - inBuffer);
        }
    }
    return !mState.failed;
}

std::uint64_t TransportStreamIndexer::RecordOffsetFor(std::uint64_t) const {
    return PacketPosition();
}

// Fills the held packet, which ends at inEndPosition in the stream, and processes it if it is one; otherwise
// keeps what may be the start of one.
void TransportStreamIndexer::CompletePacketBuffer(const std::uint8_t* inBytes, std::size_t inCount,
                                                  std::uint64_t inEndPosition) {
    std::memcpy(mPacketBuffer.data() + mPacketFill, inBytes, inCount);
    mPacketFill = 0;
    const std::uint8_t* sync = FindSync(mPacketBuffer.data(), mPacketBuffer.size());
    if (sync == nullptr) {
        mSyncState = SyncState::Searching;
    } else if (sync == mPacketBuffer.data()) {
        mSyncState = SyncState::InStep;
        ProcessPacket(mPacketBuffer.data(), inEndPosition - kTransportPacketSize);
    } else {
        mSyncState = SyncState::PartialHeld;
        mPacketFill = static_cast<std::size_t>(mPacketBuffer.data() + mPacketBuffer.size() - sync);
        std::memmove(mPacketBuffer.data(), sync, mPacketFill);
    }
}

void TransportStreamIndexer::ProcessPacket(const std::uint8_t* inTransportPacket,
                                           std::uint64_t inPacketPosition) {
    Check(inTransportPacket[0] == kTransportStreamSyncByte, contracts::kProcessSyncByte);
    Packet packet{inTransportPacket, inPacketPosition, kTransportStreamHeaderSize, 0};
    const std::uint32_t pid = packet.Pid();
    if (pid == kProgramAssociationPid) return ParseProgramAssociation(inTransportPacket);
    const bool transport_error_indicator = (inTransportPacket[1] & 0x80) != 0;
    const bool hasContent = packet.HasAdaptationField() || packet.HasPayload();
    if (transport_error_indicator || pid < kFirstUsablePid || pid > kLastUsablePid || !hasContent) return;

    if (packet.HasAdaptationField()) {
        const std::size_t adaptation_field_length = inTransportPacket[kTransportStreamHeaderSize];
        packet.payloadOffset =
            std::min(kTransportStreamHeaderSize + 1 + adaptation_field_length, kTransportPacketSize);
    }
    packet.payloadLength = kTransportPacketSize - packet.payloadOffset;

    if (packet.payloadLength >= kSmallestPesStart && packet.StartsUnit()) {
        const bool streamsUnknown = mVideoPid == kUnknownPid && mAudioPid == kUnknownPid;
        if (streamsUnknown && pid == mPmtPid) return ParseProgramMap(inTransportPacket);
        if (NotePesStart(packet)) return;
    }
    ProcessVideo(packet);
}

// Learns the fallback streams and takes the audio's time stamps. True when the packet is audio and needs no
// further look.
bool TransportStreamIndexer::NotePesStart(const Packet& inPacket) {
    const std::uint8_t* payload = inPacket.Payload();
    if (payload[0] != 0 || payload[1] != 0 || payload[2] != 1) return false;
    const std::uint32_t pid = inPacket.Pid();
    const bool isVideo = kVideoStreamId <= payload[3] && payload[3] <= kLastVideoStreamId;
    if (isVideo && mVideoPid == kUnknownPid && mFallbackVideoPid == kUnknownPid) {
        mFallbackVideoPid = pid;
        LookForPlainVideo(pid);
    }
    if (payload[3] != kAudioStreamId) return false;

    if (mAudioPid != kUnknownPid) {
        if (pid == mAudioPid) NoteAudioPts(inPacket);
    } else if (mFallbackAudioPid == kUnknownPid || mFallbackAudioPid == pid) {
        mFallbackAudioPid = pid;
        NoteAudioPts(inPacket);
    }
    return true;
}

// Packets with reserved PIDs are passed over even if a table says that they are video.
void TransportStreamIndexer::LookForPlainVideo(std::uint32_t inPid) {
    const bool isUsable = kFirstUsablePid <= inPid && inPid <= kLastUsablePid;
    mPlainVideoHeader = isUsable ? inPid << 8 | kPlainHeader : kNoPlainHeader;
}

void TransportStreamIndexer::NoteAudioPts(const Packet& inPacket) {
    const std::uint8_t* payload = inPacket.Payload();
    if (inPacket.payloadLength >= kPesHeaderSizeWithPts && IsMpeg2Pes(payload) && AnnouncesPts(payload)) {
        mState.audioPts.push_back(ReadPts(payload));
    }
}

void TransportStreamIndexer::ProcessVideo(const Packet& inPacket) {
    const std::uint32_t pid = inPacket.Pid();
    if ((pid != mVideoPid && pid != mFallbackVideoPid) || !inPacket.HasPayload()) return;

    const std::uint8_t* payload = inPacket.Payload();
    const std::size_t length = inPacket.payloadLength;
    std::size_t headerLength = 0;
    if (inPacket.StartsUnit() && length >= kStartCodeSize && StartsStream(payload, kVideoStreamId)) {
        // A header that runs out of its packet leaves nothing to feed.
        if (length < kPesSyntaxSize) return;
        const bool isMpeg2 = IsMpeg2Pes(payload);
        if (isMpeg2 && length < kPesFixedHeaderSize) return;
        headerLength = isMpeg2 ? PesHeaderSize(payload) : kStartCodeSize;
        if (isMpeg2 && AnnouncesPts(payload) && length >= kPesHeaderSizeWithPts) {
            mState.pendingPts = ReadPts(payload);
        }
    }
    if (headerLength >= length) return;
    FeedVideoPayload(inPacket.bytes, inPacket.payloadOffset + headerLength, inPacket.position);
}

// Feeds the packet from inOffsetOfPayload to its end.
void TransportStreamIndexer::FeedVideoPayload(const std::uint8_t* inTransportPacket,
                                              std::size_t inOffsetOfPayload, std::uint64_t inPacketPosition) {
    Check(inTransportPacket[0] == kTransportStreamSyncByte, contracts::kFeedSyncByte);
    Check(inOffsetOfPayload >= kTransportStreamHeaderSize, contracts::kFeedPayloadOffset);
    const std::size_t length = kTransportPacketSize - inOffsetOfPayload;
    FeedVideo({inTransportPacket + inOffsetOfPayload,
               length,
               {inPacketPosition + inOffsetOfPayload, inPacketPosition},
               length,
               true});
}

}  // namespace Vexmora
