// Picks the packets of one stream, and keeps the books if there are any.
#include "sources/ProgramReader.h"

#include <utility>

namespace VexmoraHost {

ProgramReader::ProgramReader(const JoinedFiles& inFiles, std::uint64_t inBegin, std::uint8_t inStreamId,
                             StreamAccount* ioAccount)
    : mWalk(inFiles, ioAccount != nullptr ? ByteWindow::kSequentialBytes : ByteWindow::kRandomBytes),
      mBegin(inBegin),
      mStreamId(inStreamId),
      mAccount(ioAccount) {
    if (mAccount != nullptr) {
        mAccount->videoPids = {{.position = 0, .pid = mStreamId}};
        mAccount->skippedBytes = inBegin;
    }
    Seek(inBegin);
}

void ProgramReader::Seek(std::uint64_t inPosition) {
    mWalk.Seek(inPosition, mStreamId);
    mIsAfterLoss = false;
}

bool ProgramReader::Next(VideoPiece& outPiece) {
    ProgramPacket packet;
    bool hasPacket = false;
    while ((hasPacket = mWalk.Next(packet))) {
        mIsAfterLoss |= packet.isAfterLoss;
        if (packet.streamId != mStreamId) {
            if (mAccount != nullptr) NoteOther(packet);
        } else if (packet.isScrambled) {
            mIsAfterLoss = true;
            if (mAccount != nullptr) ++mAccount->videoPacketsNotShown;
        } else {
            break;
        }
    }
    if (mAccount != nullptr) {
        mAccount->skippedBytes = mBegin + mWalk.SkippedBytes();
        mAccount->losses = mWalk.Losses();
    }
    if (!hasPacket) return false;
    outPiece = {.position = packet.position,
                .bytes = packet.payload,
                .pts = packet.pts,
                .isAfterLoss = std::exchange(mIsAfterLoss, false)};
    return true;
}

void ProgramReader::NoteOther(const ProgramPacket& inPacket) {
    if (!inPacket.pts || IsVideoStream(inPacket.streamId)) return;
    const bool hasSubstreams = inPacket.streamId == kPrivateStream1;
    const unsigned stream = inPacket.streamId;
    const unsigned id = hasSubstreams ? stream << 8u | inPacket.payload[0] : stream;
    mAccount->firstTimes.try_emplace(static_cast<std::uint16_t>(id), *inPacket.pts);
}

}  // namespace VexmoraHost
