// Takes the PES packets of the video apart, from any of their packets on.
#include "sources/TransportReader.h"

#include <algorithm>
#include <array>
#include <utility>

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Verdict = Continuity::Verdict;

}  // namespace

void TransportPayloads::NoteLoss() {
    mIsAfterLoss = true;
    mIsQuiet = false;
    mHeader.clear();
    mUnit = {};
}

bool TransportPayloads::Take(const TransportPacket& inPacket, VideoPiece& outPiece, Verdict& outVerdict) {
    outVerdict = Verdict::Follows;
    mIsQuiet = false;
    if (inPacket.isAfterLoss) NoteLoss();
    if (inPacket.HasError()) {
        NoteLoss();
        mContinuity.Forget();
        return false;
    }
    if (!inPacket.HasPayload()) {
        if (inPacket.HasDiscontinuity()) mContinuity.Forget();
        return false;
    }
    outVerdict = mContinuity.Note(inPacket);
    if (outVerdict == Verdict::Repeats) {
        if (IsSameAsLast(inPacket)) return false;
        mContinuity.TakeForAnother();
        outVerdict = Verdict::Breaks;
    }
    mLastPosition = inPacket.position;
    if (outVerdict == Verdict::Breaks) NoteLoss();
    if (inPacket.IsScrambled()) {
        NoteLoss();
        return false;
    }
    const Bytes video = PassHeader(inPacket);
    if (video.empty()) return false;
    outPiece.position = mUnit.position.value_or(inPacket.position);
    outPiece.bytes = video;
    outPiece.pts = mUnit.pts;
    outPiece.isAfterLoss = std::exchange(mIsAfterLoss, false);
    mUnit = {};
    mIsQuiet = true;
    return true;
}

// The payload without what belongs to a PES header, which may reach over several packets.
Bytes TransportPayloads::PassHeader(const TransportPacket& inPacket) {
    const Bytes payload = inPacket.Payload();
    const bool startsUnit = inPacket.StartsUnit();
    if (!startsUnit && mHeader.empty()) return payload;
    if (startsUnit) {
        mHeader.clear();
        mUnit = {.position = inPacket.position};
    }
    const std::size_t before = mHeader.size();
    if (before > 0) mHeader.insert(mHeader.end(), payload.begin(), payload.end());
    const PesHeader header = ParsePesHeader(before > 0 ? Bytes(mHeader) : payload);
    if (header.state == PesHeader::State::NeedsMore) {
        if (before == 0) mHeader.assign(payload.begin(), payload.end());
        return {};
    }
    // Without a PES packet in it the payload is taken as it is.
    mHeader.clear();
    mUnit.pts = header.pts;
    return payload.subspan(header.size > before ? header.size - before : 0);
}

bool TransportPayloads::IsSameAsLast(const TransportPacket& inPacket) const {
    std::array<std::uint8_t, kTransportPacketBytes> buffer{};
    const std::size_t got = mFiles.ReadAt(mLastPosition, std::span(buffer).first(inPacket.bytes.size()));
    const TransportPacket last{.bytes = Bytes(buffer).first(got), .position = mLastPosition};
    // All but the clock reference in the adaptation field is the same.
    return got >= 4 && last.HasPayload() && std::ranges::equal(last.Payload(), inPacket.Payload());
}

TransportScanner::TransportScanner(const JoinedFiles& inFiles, const Packaging& inPackaging,
                                   const ChosenVideo& inVideo, StreamAccount& ioAccount)
    : mWalk(inFiles, inPackaging.packetDistance, ByteWindow::kSequentialBytes),
      mBooks(inPackaging, inVideo, ioAccount),
      mPayloads(inFiles) {
    ioAccount.skippedBytes = inPackaging.SkippedAtStart();
    mWalk.Seek(inPackaging.begin);
}

void TransportScanner::Seek(std::uint64_t inPosition) {
    mWalk.Seek(inPosition);
    mPayloads.Restart();
}

bool TransportScanner::Next(VideoPiece& outPiece) {
    TransportPacket packet;
    while (mWalk.Next(packet)) {
        if (packet.Pid() == mBooks.VideoPid()) {
            if (mPayloads.TakeQuiet(packet, outPiece)) {
                mBooks.CountVideo();
                return true;
            }
            Verdict verdict{};
            const bool hasVideo = mPayloads.Take(packet, outPiece, verdict);
            mBooks.NoteVideo(packet, verdict);
            if (hasVideo) return true;
            continue;
        }
        if (packet.isAfterLoss) mPayloads.NoteLoss();
        const std::uint16_t before = mBooks.VideoPid();
        mBooks.NoteOther(packet);
        if (mBooks.VideoPid() != before) mPayloads.Restart();
    }
    if (!std::exchange(mIsClosed, true)) mBooks.Close(mWalk);
    return false;
}

TransportReader::TransportReader(const JoinedFiles& inFiles, const Packaging& inPackaging,
                                 const StreamAccount& inAccount)
    : mWalk(inFiles, inPackaging.packetDistance, ByteWindow::kRandomBytes),
      mPayloads(inFiles),
      mAccount(inAccount) {
    Seek(inPackaging.begin);
}

void TransportReader::Seek(std::uint64_t inPosition) {
    mWalk.Seek(inPosition);
    mPayloads.Restart();
    const auto& pids = mAccount.videoPids;
    mNextPid = 0;
    // The packet that moves the video is none of the video's.
    while (mNextPid < pids.size() && pids[mNextPid].position <= inPosition) mVideoPid = pids[mNextPid++].pid;
}

bool TransportReader::Next(VideoPiece& outPiece) {
    const auto& pids = mAccount.videoPids;
    TransportPacket packet;
    while (mWalk.Next(packet)) {
        if (packet.isAfterLoss) mPayloads.NoteLoss();
        while (mNextPid < pids.size() && pids[mNextPid].position < packet.position) {
            mVideoPid = pids[mNextPid++].pid;
            mPayloads.Restart();
        }
        Verdict verdict{};
        if (packet.Pid() == mVideoPid && mPayloads.Take(packet, outPiece, verdict)) return true;
    }
    return false;
}

}  // namespace VexmoraHost
