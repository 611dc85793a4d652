// Reads as far as the tables and the sizes of the video need.
#include "sources/StreamListing.h"

#include <algorithm>
#include <map>
#include <utility>

#include "sources/ProgramPackets.h"
#include "sources/SequenceProbe.h"
#include "sources/StreamTypes.h"
#include "sources/TransportTables.h"

namespace VexmoraHost {
namespace {

// What was met on a PID.
struct MetStream {
    StreamInfo info;
    SequenceProbe probe;
};

class TransportListing {
  public:
    void Take(const TransportPacket& inPacket) {
        if (inPacket.HasError() || inPacket.IsScrambled()) return;
        const std::uint16_t pid = inPacket.Pid();
        if (mTables.Carries(pid)) {
            if (mTables.Feed(inPacket)) NoteMaps();
            return;
        }
        auto payload = inPacket.Payload();
        auto met = mMet.find(pid);
        if (inPacket.StartsUnit()) {
            const PesHeader header = ParsePesHeader(payload);
            if (header.state == PesHeader::State::IsNone || payload.size() < 4 || pid == kNullPid) return;
            const std::uint8_t streamId = payload[3];
            // What of a header is in the next packet is no start code.
            payload = payload.subspan(header.state == PesHeader::State::Whole ? header.size : payload.size());
            if (met == mMet.end()) {
                met = mMet.emplace(pid, MetStream{DescribePesStream(streamId, pid, payload), {}}).first;
                mOrder.push_back(pid);
            }
        }
        const bool isVideo = met != mMet.end() && met->second.info.kind == StreamInfo::Kind::Video;
        if (!isVideo || met->second.probe.IsDone()) return;
        met->second.probe.Feed(payload);
        mHasNews |= met->second.probe.IsDone();
    }

    // Whether nothing more is to be learnt; cheap while nothing is new.
    bool IsComplete() {
        if (!std::exchange(mHasNews, false)) return false;
        return !mTables.Programs().empty() &&
               std::ranges::all_of(mTables.Programs(), [this](const auto& inProgram) {
                   return inProgram.hasMap &&
                          std::ranges::all_of(inProgram.info.streams, [this](const StreamInfo& inStream) {
                              const bool hasSize =
                                  inStream.codec == kMpeg1Video || inStream.codec == kMpeg2Video;
                              const auto met = mMet.find(inStream.id);
                              return !hasSize || (met != mMet.end() && met->second.probe.IsDone());
                          });
               });
    }

    std::vector<ProgramInfo> Result() const {
        std::vector<ProgramInfo> programs;
        bool hasMap = false;
        for (const auto& program : mTables.Programs()) {
            hasMap |= program.hasMap;
            ProgramInfo& info = programs.emplace_back(program.info);
            if (program.hasMap) info.streams = mFirstStreams.at(info.number);
            for (StreamInfo& stream : info.streams) {
                const auto met = mMet.find(stream.id);
                if (met != mMet.end() && stream.kind == StreamInfo::Kind::Video)
                    met->second.probe.Describe(stream);
            }
        }
        return hasMap ? programs : std::vector{Guess()};
    }

  private:
    // The first map of each program holds for the begin of the recording.
    void NoteMaps() {
        mHasNews = true;
        for (const auto& program : mTables.Programs()) {
            if (program.hasMap) mFirstStreams.try_emplace(program.info.number, program.info.streams);
        }
    }

    ProgramInfo Guess() const {
        ProgramInfo program;
        for (const std::uint16_t pid : mOrder) {
            const MetStream& met = mMet.at(pid);
            met.probe.Describe(program.streams.emplace_back(met.info));
        }
        return program;
    }

    ProgramTables mTables;
    std::map<std::uint16_t, std::vector<StreamInfo>> mFirstStreams;  // by program number
    std::map<std::uint16_t, MetStream> mMet;
    std::vector<std::uint16_t> mOrder;  // PIDs as they were met
    bool mHasNews = false;
};

}  // namespace

std::vector<ProgramInfo> ListTransportStreams(const JoinedFiles& inFiles, std::size_t inPacketDistance,
                                              std::uint64_t inBegin) {
    PacketWalk walk(inFiles, inPacketDistance, ByteWindow::kSequentialBytes);
    walk.Seek(inBegin);
    TransportListing listing;
    TransportPacket packet;
    while (walk.Next(packet) && packet.position - inBegin < kLookedAtBytes) {
        listing.Take(packet);
        if (listing.IsComplete()) break;
    }
    return listing.Result();
}

// No table says which streams there are: as many as are met in a while.
std::vector<ProgramInfo> ListProgramStreams(const JoinedFiles& inFiles, std::uint64_t inBegin) {
    constexpr std::uint64_t kWhile = 2 << 20;
    ProgramWalk walk(inFiles, ByteWindow::kSequentialBytes);
    walk.Seek(inBegin, 0);
    ProgramInfo program;
    std::map<std::uint16_t, SequenceProbe> probes;  // of those that still need more bytes
    ProgramPacket packet;
    while (walk.Next(packet)) {
        const std::uint64_t distance = packet.position - inBegin;
        if (distance >= kLookedAtBytes || (distance >= kWhile && probes.empty())) break;
        const bool hasSubstreams = packet.streamId == kPrivateStream1;
        const bool isStream = hasSubstreams || IsAudioStream(packet.streamId) ||
                              IsVideoStream(packet.streamId) ||
                              packet.streamId == 0xFD /* extended_stream_id */;
        if (!isStream || packet.isScrambled) continue;
        const auto id = static_cast<std::uint16_t>(hasSubstreams ? packet.streamId << 8 | packet.payload[0]
                                                                 : packet.streamId);
        auto stream = std::ranges::find(program.streams, id, &StreamInfo::id);
        if (stream == program.streams.end()) {
            program.streams.push_back(DescribePesStream(packet.streamId, id, packet.payload));
            stream = program.streams.end() - 1;
            if (IsVideoStream(packet.streamId)) probes.try_emplace(id);
        }
        if (const auto probe = probes.find(id); probe != probes.end()) {
            probe->second.Feed(packet.payload);
            probe->second.Describe(*stream);
            if (probe->second.IsDone()) probes.erase(probe);
        }
    }
    return {program};
}

std::vector<ProgramInfo> ListElementaryStream(const JoinedFiles& inFiles, std::uint64_t inBegin) {
    constexpr std::size_t kStep = 4 << 10;
    ByteWindow window(inFiles, kStep);
    SequenceProbe probe;
    for (std::uint64_t at = 0; at < kLookedAtBytes && !probe.IsDone(); at += kStep) {
        const auto bytes = window.At(inBegin + at, kStep);
        if (bytes.empty()) break;
        probe.Feed(bytes);
    }
    StreamInfo stream{
        .kind = StreamInfo::Kind::Video, .id = 0, .codec = std::string(kUnknownVideo), .language = {}};
    probe.Describe(stream);
    return {{.number = 0, .streams = {stream}}};
}

}  // namespace VexmoraHost
