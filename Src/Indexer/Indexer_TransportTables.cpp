// The choice of the video and the audio from the program tables, and what irregular tables do to it.
#include <algorithm>
#include <atomic>

#include "Indexer/Indexer_TransportStream.h"
#include "mpeg_system/TransportTables.h"

namespace Vexmora {
namespace {

constexpr std::uint8_t kProgramMapTableId = 2;

// Irregularities in the map tables that this process has seen, in all streams; 10 at the most. While it is
// below that, some of them end the parse of their table; afterwards this tolerates any table. Any thread.
class PsiAnomalyCount {
  public:
    // Counts one irregularity, as inWeight. False when there were too many before.
    bool Raise(int inWeight = 1) {
        int count = mCount.load(std::memory_order_relaxed);
        while (count < kMost) {
            const int raised = std::min(count + inWeight, kMost);
            if (mCount.compare_exchange_weak(count, raised, std::memory_order_relaxed)) return true;
        }
        return false;
    }

  private:
    static constexpr int kMost = 10;
    std::atomic<int> mCount{0};
};

PsiAnomalyCount gPsiAnomalyCount;

// Reserved bits that are wrong in the fixed part of a map table do no more than count.
void CountMapIrregularities(TransportPacket inPacket) {
    const auto countUnlessSet = [inPacket](std::size_t inIndex, unsigned inBits) {
        if ((TableByte(inPacket, inIndex) & inBits) != inBits) gPsiAnomalyCount.Raise();
    };
    countUnlessSet(1, 0x80);                                             // section_syntax_indicator
    if ((TableByte(inPacket, 1) & 0x40) != 0) gPsiAnomalyCount.Raise();  // '0'
    countUnlessSet(1, 0x30);                                             // before section_length
    countUnlessSet(5, 0xC0);                                             // before version_number
    countUnlessSet(8, 0xE0);                                             // before PCR_PID
    countUnlessSet(10, 0xF0);                                            // before program_info_length
}

}  // namespace

// The first program listed wins, for good.
void TransportStreamIndexer::ParseProgramAssociation(TransportPacket inPacket) {
    if (mPmtPid == kUnknownPid) mPmtPid = FindProgramMapPid(inPacket).value_or(kUnknownPid);
}

void TransportStreamIndexer::ParseProgramMap(TransportPacket inPacket) {
    if (TableByte(inPacket, 0) != kProgramMapTableId) return;
    CountMapIrregularities(inPacket);

    ProgramMapEntries entries(inPacket);
    while (const auto entry = entries.Next()) {
        if (!entry->isRegular && gPsiAnomalyCount.Raise(2)) return;
        if (!UseStream(entry->stream_type, entry->elementary_PID)) return;
        if (entries.IsOverrun()) {
            gPsiAnomalyCount.Raise();
            return;
        }
    }
}

// Takes one entry of the map table. False when the rest of the table is not to be read.
bool TransportStreamIndexer::UseStream(std::uint8_t inStreamType, std::uint32_t inPid) {
    const bool changesAudio = mAudioPid != kUnknownPid && mAudioPid != inPid;
    switch (inStreamType) {
        case kStreamTypeMpeg2Video:
            if (mVideoPid != kUnknownPid && mVideoPid != inPid && gPsiAnomalyCount.Raise()) return false;
            mVideoPid = inPid;
            NoteVideoPids();
            return true;
        case kStreamTypeMpeg1Audio:
            if (!changesAudio || !gPsiAnomalyCount.Raise()) mAudioPid = inPid;
            return true;
        case kStreamTypeMpeg2Audio:
            if (mMpeg2AudioChosen) return true;
            if (changesAudio) gPsiAnomalyCount.Raise();
            mAudioPid = inPid;
            mMpeg2AudioChosen = true;
            return true;
        default:
            gPsiAnomalyCount.Raise();
            return true;
    }
}

}  // namespace Vexmora
