// Packet framing, and what each packet adds to the index.
#include "Indexer/Indexer_TransportStream.h"

#include <algorithm>
#include <cstring>

#include "Contract/Contract.h"
#include "mpeg_system/PesHeader.h"
#include "mpeg_system/StartCodes.h"
#include "primitives/QuietPackets.h"

namespace Vexmora {
namespace {

// Packets with reserved PIDs carry neither tables of ours nor video.
constexpr PidRange kUsablePids{16, 8190};
// A payload must hold this much to tell what it starts.
constexpr std::size_t kSmallestPesStart = 8;

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
            if (const std::size_t quiet = PassQuietPackets(inBuffer + at, left); quiet > 0) {
                at += quiet;
                continue;
            }
            ProcessPacket(TransportPacket(inBuffer + at, kTransportPacketSize), inPosition + at);
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
        ProcessPacket(mPacketBuffer, inEndPosition - kTransportPacketSize);
    } else {
        mSyncState = SyncState::PartialHeld;
        mPacketFill = static_cast<std::size_t>(mPacketBuffer.data() + mPacketBuffer.size() - sync);
        std::memmove(mPacketBuffer.data(), sync, mPacketFill);
    }
}

void TransportStreamIndexer::ProcessPacket(TransportPacket inTransportPacket,
                                           std::uint64_t inPacketPosition) {
    Check(inTransportPacket[0] == kTransportStreamSyncByte, contracts::kProcessSyncByte);
    const std::uint32_t pid = PacketPid(inTransportPacket);
    if (pid == kProgramAssociationPid) return ParseProgramAssociation(inTransportPacket);
    const bool hasContent = HasAdaptationField(inTransportPacket) || HasPayload(inTransportPacket);
    if (IsDamaged(inTransportPacket) || !kUsablePids.Contains(pid) || !hasContent) return;

    const Packet packet{inTransportPacket, inPacketPosition, PayloadOffset(inTransportPacket)};
    if (packet.Payload().size() >= kSmallestPesStart && StartsUnit(inTransportPacket)) {
        const bool streamsUnknown = mVideoPid == kUnknownPid && mAudioPid == kUnknownPid;
        if (streamsUnknown && pid == mPmtPid) return ParseProgramMap(inTransportPacket);
        if (NotePesStart(packet)) return;
    }
    ProcessVideo(packet);
}

// Learns the fallback streams and takes the audio's time stamps. True when the packet is audio and needs no
// further look.
bool TransportStreamIndexer::NotePesStart(const Packet& inPacket) {
    const std::uint8_t* payload = inPacket.Payload().data();
    if (!IsStartCode(payload)) return false;
    const std::uint32_t pid = PacketPid(inPacket.bytes);
    const bool isVideo = IsVideoStreamCode(StartCodeAt(payload));
    if (isVideo && mVideoPid == kUnknownPid && mFallbackVideoPid == kUnknownPid) {
        mFallbackVideoPid = pid;
        NoteVideoPids();
    }
    if (StartCodeAt(payload) != kAudioStreamCode) return false;

    if (mAudioPid != kUnknownPid) {
        if (pid == mAudioPid) NoteAudioPts(inPacket);
    } else if (mFallbackAudioPid == kUnknownPid || mFallbackAudioPid == pid) {
        mFallbackAudioPid = pid;
        NoteAudioPts(inPacket);
    }
    return true;
}

// Packets with reserved PIDs are not fed even if a table says that they are video.
void TransportStreamIndexer::NoteVideoPids() {
    const bool hasTwo = mVideoPid != kUnknownPid && mFallbackVideoPid != kUnknownPid;
    const std::uint32_t pid = mVideoPid != kUnknownPid ? mVideoPid : mFallbackVideoPid;
    const bool isOnly = kUsablePids.Contains(pid) && (!hasTwo || mVideoPid == mFallbackVideoPid);
    mOnlyVideoPid = isOnly ? pid : kUnknownPid;
}

// Most packets are the inside of a PES packet, and tell nothing: it takes a tenth of the time to see that of
// a run of them than to process each. Returns their bytes.
std::size_t TransportStreamIndexer::PassQuietPackets(const std::uint8_t* inBytes, std::size_t inSize) {
    if (mOnlyVideoPid == kUnknownPid || !MayPassVideo()) return 0;
    const QuietPackets quiet =
        mPrimitives.passQuietPackets(inBytes, inSize / kTransportPacketSize, mOnlyVideoPid);
    if (quiet.hasVideo) NotePassedVideo();
    return quiet.count * kTransportPacketSize;
}

void TransportStreamIndexer::NoteAudioPts(const Packet& inPacket) {
    if (const auto pts = ReadPts(inPacket.Payload())) mState.audioPts.push_back(*pts);
}

void TransportStreamIndexer::ProcessVideo(const Packet& inPacket) {
    const std::uint32_t pid = PacketPid(inPacket.bytes);
    if ((pid != mVideoPid && pid != mFallbackVideoPid) || !HasPayload(inPacket.bytes)) return;

    const std::span<const std::uint8_t> payload = inPacket.Payload();
    std::size_t headerLength = 0;
    if (StartsUnit(inPacket.bytes) && payload.size() >= kStartCodeSize && IsStartCode(payload.data()) &&
        StartCodeAt(payload.data()) == kVideoStreamCode) {
        // A header that runs out of its packet leaves nothing to feed.
        if (payload.size() < kPesSyntaxSize) return;
        const bool isMpeg2 = IsMpeg2Pes(payload.data());
        if (isMpeg2 && payload.size() < kPesFixedHeaderSize) return;
        headerLength = isMpeg2 ? PesHeaderSize(payload.data()) : kStartCodeSize;
        if (const auto pts = ReadPts(payload)) mState.pendingPts = *pts;
    }
    if (headerLength >= payload.size()) return;
    FeedVideoPayload(inPacket.bytes, inPacket.payloadOffset + headerLength, inPacket.position);
}

// Feeds the packet from inOffsetOfPayload to its end.
void TransportStreamIndexer::FeedVideoPayload(TransportPacket inTransportPacket,
                                              std::size_t inOffsetOfPayload, std::uint64_t inPacketPosition) {
    Check(inTransportPacket[0] == kTransportStreamSyncByte, contracts::kFeedSyncByte);
    Check(inOffsetOfPayload >= kTransportStreamHeaderSize, contracts::kFeedPayloadOffset);
    const std::span<const std::uint8_t> payload = inTransportPacket.subspan(inOffsetOfPayload);
    FeedVideo({payload.data(),
               payload.size(),
               {inPacketPosition + inOffsetOfPayload, inPacketPosition},
               payload.size(),
               true});
}

}  // namespace Vexmora
