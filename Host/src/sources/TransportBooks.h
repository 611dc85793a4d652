// The books kept over the packets of a transport stream while it is scanned.
#pragma once

#include <cstdint>
#include <vector>

#include "sources/Packaging.h"
#include "sources/TransportPackets.h"
#include "sources/TransportTables.h"

namespace VexmoraHost {

/// Counts packets by their PID, notes when the streams beside the video begin, and follows the tables.
class TransportBooks {
  public:
    TransportBooks(const Packaging& inPackaging, const ChosenVideo& inVideo, StreamAccount& ioAccount);

    /// The PID of the video, as the tables said last.
    std::uint16_t VideoPid() const { return mVideoPid; }

    /// A packet of another PID than the video's; it may move the video.
    void NoteOther(const TransportPacket& inPacket);
    /// A packet of the video with nothing to note about it.
    void CountVideo() { ++mPids[mVideoPid].counts.packets; }
    /// A packet of the video.
    /// @param inVerdict of its continuity counter; Follows when it was not looked at.
    void NoteVideo(const TransportPacket& inPacket, Continuity::Verdict inVerdict);
    /// Enters everything into the account.
    void Close(const PacketWalk& inWalk);

  private:
    struct Pid {
        PacketCounts counts;
        Continuity continuity;
        bool wantsTime = false;
        bool isNamed = false;  // by some table
        bool carriesVideo = false;
    };

    void NoteUnit(const TransportPacket& inPacket, Pid& ioPid);
    void NameStreams(const std::vector<StreamInfo>& inStreams, bool inAreOfProgram);
    void FollowTables(std::uint64_t inPosition);

    const ChosenVideo mVideo;
    StreamAccount& mAccount;
    ProgramTables mTables;
    std::vector<Pid> mPids;
    std::uint16_t mVideoPid;
    std::uint64_t mNotShown = 0;
};

}  // namespace VexmoraHost
