// Keeps the books; what happens once a packet is kept short.
#include "sources/TransportBooks.h"

#include <algorithm>

#include "sources/PesHeader.h"
#include "sources/StreamTypes.h"

namespace VexmoraHost {

TransportBooks::TransportBooks(const Packaging& inPackaging, const ChosenVideo& inVideo,
                               StreamAccount& ioAccount)
    : mVideo(inVideo), mAccount(ioAccount), mPids(kPidCount), mVideoPid(inVideo.id) {
    for (const ProgramInfo& program : inPackaging.programs)
        NameStreams(program.streams, program.number == inVideo.program);
    mAccount.videoPids = {{.position = 0, .pid = mVideoPid}};
}

void TransportBooks::NoteOther(const TransportPacket& inPacket) {
    const std::uint16_t number = inPacket.Pid();
    Pid& pid = mPids[number];
    ++pid.counts.packets;
    if (inPacket.HasError()) {
        ++pid.counts.transportErrors;
        pid.continuity.Forget();
        return;
    }
    pid.counts.scrambled += inPacket.IsScrambled() ? 1u : 0u;
    if (!inPacket.HasPayload() || number == kNullPid) return;
    if (pid.continuity.Note(inPacket) == Continuity::Verdict::Breaks) ++pid.counts.continuityErrors;
    if (inPacket.IsScrambled()) return;
    if (mTables.Carries(number)) {
        if (mTables.Feed(inPacket)) FollowTables(inPacket.position);
    } else if (inPacket.StartsUnit() && (pid.wantsTime || !pid.isNamed)) {
        NoteUnit(inPacket, pid);
    }
}

void TransportBooks::NoteVideo(const TransportPacket& inPacket, Continuity::Verdict inVerdict) {
    PacketCounts& counts = mPids[mVideoPid].counts;
    ++counts.packets;
    counts.transportErrors += inPacket.HasError() ? 1u : 0u;
    counts.scrambled += !inPacket.HasError() && inPacket.IsScrambled() ? 1u : 0u;
    counts.continuityErrors += inVerdict == Continuity::Verdict::Breaks ? 1u : 0u;
    mNotShown += inPacket.HasError() || inPacket.IsScrambled() ? 1u : 0u;
}

void TransportBooks::NoteUnit(const TransportPacket& inPacket, Pid& ioPid) {
    const auto payload = inPacket.Payload();
    const PesHeader header = ParsePesHeader(payload);
    if (header.state != PesHeader::State::Whole) return;
    ioPid.carriesVideo |= IsVideoStream(payload[3]);
    if (!ioPid.wantsTime || !header.pts) return;
    mAccount.firstTimes.try_emplace(inPacket.Pid(), *header.pts);
    ioPid.wantsTime = false;
}

void TransportBooks::NameStreams(const std::vector<StreamInfo>& inStreams, bool inAreOfProgram) {
    for (const StreamInfo& stream : inStreams) {
        Pid& pid = mPids[stream.id % kPidCount];
        pid.isNamed = true;
        const bool isBeside = inAreOfProgram && stream.kind != StreamInfo::Kind::Video;
        pid.wantsTime = isBeside && !mAccount.firstTimes.contains(stream.id);
    }
}

void TransportBooks::FollowTables(std::uint64_t inPosition) {
    for (const auto& program : mTables.Programs()) {
        const bool isShown = program.info.number == mVideo.program;
        NameStreams(program.info.streams, isShown);
        if (!isShown) continue;
        const auto& streams = program.info.streams;
        const auto isVideo = [](const StreamInfo& inStream) {
            return inStream.kind == StreamInfo::Kind::Video;
        };
        const bool isStillThere = std::ranges::any_of(streams, [&](const StreamInfo& inStream) {
            return isVideo(inStream) && inStream.id == mVideoPid;
        });
        if (isStillThere) continue;
        // MPEG-1 is what some call video of both kinds.
        auto moved = std::ranges::find(streams, kMpeg2Video, &StreamInfo::codec);
        if (moved == streams.end()) moved = std::ranges::find(streams, kMpeg1Video, &StreamInfo::codec);
        if (moved == streams.end()) continue;
        mVideoPid = moved->id;
        mAccount.videoPids.push_back({.position = inPosition, .pid = mVideoPid});
    }
}

void TransportBooks::Close(const PacketWalk& inWalk) {
    mAccount.videoPacketsNotShown = mNotShown;
    for (std::size_t number = 0; number < mPids.size(); ++number) {
        const Pid& pid = mPids[number];
        if (pid.counts.packets == 0) continue;
        mAccount.packets[static_cast<std::uint16_t>(number)] = pid.counts;
        if (pid.carriesVideo && !pid.isNamed) mAccount.videoPacketsNotShown += pid.counts.packets;
    }
    mAccount.skippedBytes = mAccount.skippedBytes + inWalk.SkippedBytes();
    mAccount.losses = inWalk.Losses();
}

}  // namespace VexmoraHost
