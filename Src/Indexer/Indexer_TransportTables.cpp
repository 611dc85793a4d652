// The program association and program map tables of a transport stream (ISO/IEC 13818-1, 2.4.4), read far
// enough to choose the video and the audio.
#include <algorithm>
#include <atomic>

#include "Indexer/Indexer_TransportStream.h"

namespace Vexmora {
namespace {

constexpr std::uint8_t kProgramMapTableId = 2;
// Both tables are taken to begin right behind a pointer_field of 0.
constexpr std::size_t kTableStart = kTransportStreamHeaderSize + 1;
constexpr std::size_t kAssociationEntries = kTableStart + 8;
constexpr std::size_t kAssociationEntrySize = 4;
constexpr std::size_t kMapEntries = kTableStart + 12;
constexpr std::size_t kMapEntrySize = 5;
// Bytes that section_length counts before and behind the entries (the latter the CRC).
constexpr int kAssociationOverhead = 9;
constexpr int kMapOverhead = 13;

enum StreamType : std::uint8_t {
    kMpeg2Video = 2,
    kMpeg1Audio = 3,
    kMpeg2Audio = 4,
};

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

unsigned Bits12(const std::uint8_t* inBytes) {
    return (inBytes[0] & 0x0Fu) << 8 | inBytes[1];
}

std::uint32_t Bits13(const std::uint8_t* inBytes) {
    return (inBytes[0] & 0x1Fu) << 8 | inBytes[1];
}

bool AllSet(std::uint8_t inByte, std::uint8_t inBits) {
    return (inByte & inBits) == inBits;
}

// Reserved bits that are wrong in the fixed part of a map table do no more than count.
void CountMapIrregularities(const std::uint8_t* inPacket) {
    const std::uint8_t* table = inPacket + kTableStart;
    if (!AllSet(table[1], 0x80)) gPsiAnomalyCount.Raise();   // section_syntax_indicator
    if ((table[1] & 0x40) != 0) gPsiAnomalyCount.Raise();    // '0'
    if (!AllSet(table[1], 0x30)) gPsiAnomalyCount.Raise();   // before section_length
    if (!AllSet(table[5], 0xC0)) gPsiAnomalyCount.Raise();   // before version_number
    if (!AllSet(table[8], 0xE0)) gPsiAnomalyCount.Raise();   // before PCR_PID
    if (!AllSet(table[10], 0xF0)) gPsiAnomalyCount.Raise();  // before program_info_length
}

}  // namespace

// The first program listed wins, for good.
void TransportStreamIndexer::ParseProgramAssociation(const std::uint8_t* inPacket) {
    if (mPmtPid != kUnknownPid) return;
    int remaining = static_cast<int>(Bits12(inPacket + kTableStart + 1)) - kAssociationOverhead;
    std::size_t at = kAssociationEntries;
    while (remaining >= static_cast<int>(kAssociationEntrySize) &&
           at + kAssociationEntrySize <= kTransportPacketSize) {
        const unsigned program_number = unsigned{inPacket[at]} << 8 | inPacket[at + 1];
        if (program_number != 0) {
            mPmtPid = Bits13(inPacket + at + 2);
            return;
        }
        at += kAssociationEntrySize;
        remaining -= static_cast<int>(kAssociationEntrySize);
    }
}

void TransportStreamIndexer::ParseProgramMap(const std::uint8_t* inPacket) {
    if (inPacket[kTableStart] != kProgramMapTableId) return;
    CountMapIrregularities(inPacket);

    const unsigned program_info_length = Bits12(inPacket + kTableStart + 10);
    int remaining = static_cast<int>(Bits12(inPacket + kTableStart + 1)) - kMapOverhead -
                    static_cast<int>(program_info_length);
    std::size_t at = kMapEntries + program_info_length;
    while (remaining >= static_cast<int>(kMapEntrySize) && at + kMapEntrySize <= kTransportPacketSize) {
        const std::uint8_t* entry = inPacket + at;
        const bool isRegular = AllSet(entry[1], 0xE0) && AllSet(entry[3], 0xF0);
        if (!isRegular && gPsiAnomalyCount.Raise(2)) return;
        if (!UseStream(entry[0], Bits13(entry + 1))) return;

        const unsigned entryLength = static_cast<unsigned>(kMapEntrySize) + Bits12(entry + 3);
        if (static_cast<int>(entryLength) > remaining) {
            gPsiAnomalyCount.Raise();
            return;
        }
        at += entryLength;
        remaining -= static_cast<int>(entryLength);
    }
}

// Takes one entry of the map table. False when the rest of the table is not to be read.
bool TransportStreamIndexer::UseStream(std::uint8_t inStreamType, std::uint32_t inPid) {
    const bool changesAudio = mAudioPid != kUnknownPid && mAudioPid != inPid;
    switch (inStreamType) {
        case kMpeg2Video:
            if (mVideoPid != kUnknownPid && mVideoPid != inPid && gPsiAnomalyCount.Raise()) return false;
            mVideoPid = inPid;
            LookForPlainVideo(inPid);
            return true;
        case kMpeg1Audio:
            if (!changesAudio || !gPsiAnomalyCount.Raise()) mAudioPid = inPid;
            return true;
        case kMpeg2Audio:
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
