// The root of the indexers: scans an elementary video stream for start codes and builds its frame index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Indexer/Indexer_StartCodeCarry.h"
#include "Indexer/Indexer_State.h"
#include "Indexer/Indexer_ThrowLatch.h"
#include "Vexmora/Records.h"
#include "primitives/PrimitiveTable.h"

namespace Vexmora {

/// Indexes one stream that arrives in buffers of any size. An elementary stream is scanned here; the derived
/// indexers unwrap their packets and feed the same scan. One thread at a time.
class PureVideoIndexer {
  public:
    PureVideoIndexer() : PureVideoIndexer(kVideoScan) {}

    /// Scans inSize bytes that lie at inPosition in the stream. Buffers come in stream order without gaps and
    /// are only read. False: nothing more need be fed; the index of an elementary stream that has failed for
    /// any reason but a carry that overflowed still answers true. Throws std::bad_alloc.
    virtual bool ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize, std::uint64_t inPosition);

    virtual ~PureVideoIndexer() = default;
    PureVideoIndexer(const PureVideoIndexer&) = delete;
    PureVideoIndexer& operator=(const PureVideoIndexer&) = delete;

    /// The stream position to read from for a picture whose start code, now being handled, lies at
    /// inStartCodePosition.
    virtual std::uint64_t RecordOffsetFor(std::uint64_t inStartCodePosition) const;

    virtual bool IsTransportStream() const { return false; }
    virtual bool IsProgramStream() const { return false; }

    /// Completes the index of a stream that ends at inEndPosition; called once, after the last ScanBuffer.
    /// Fills bytes 0 to 67 of outHeader and moves the plan and the records into the vectors. False when the
    /// stream cannot be indexed, which includes one that was finished before: outHeader is then a failed
    /// header and the vectors are left alone. Throws std::bad_alloc before anything is written.
    bool FinishIndex(std::uint64_t inEndPosition, IndexHeader& outHeader,
                     std::vector<AudioAlignmentRun>& outAlignmentPlan, std::vector<FrameRecord>& outRecords);

    /// Acts on the start code at inBuffer, of which at least kLookAhead bytes are readable, and which lies at
    /// inPosition. Returns how many bytes the scan may advance.
    std::uint32_t HandleStartCode(const std::uint8_t* inBuffer, std::uint64_t inPosition);

    /// For those who pass a host's calls on.
    ThrowLatch& Latch() { return mLatch; }

  protected:
    /// Bytes of the stream that must be in hand after the first byte of a start code.
    static constexpr std::size_t kLookAhead = 32;

    /// How a scan holds bytes back.
    struct ScanLimits {
        /// A start code is handled once this many bytes from its first one on are there.
        std::size_t bytesInHand;
        /// A short unit that leaves more bytes than this unscanned fails the index.
        std::size_t mostUnscanned;
    };
    static constexpr ScanLimits kVideoScan{kLookAhead + 1, 288};
    static constexpr ScanLimits kTransportScan{kLookAhead, 160};
    static_assert(kVideoScan.mostUnscanned + kLookAhead <= StartCodeCarry::kCapacity);

    /// Bytes of the video that follow each other in the stream: a whole unit (a buffer, a packet's payload),
    /// or a part of one that a buffer boundary cut. A unit gives the same result in whatever parts it comes.
    struct VideoPiece {
        const std::uint8_t* bytes;
        std::size_t size;
        ByteOrigin origin;
        std::uint64_t unitSize;
        bool beginsUnit;
    };

    explicit PureVideoIndexer(const ScanLimits& inLimits);

    /// Scans the next piece of the video, joined to what was held back.
    void FeedVideo(const VideoPiece& inPiece);

    /// Whether video may be passed over that holds no start codes but those of slices: nothing was held back
    /// that it would complete. Of what is passed over, the last bytes handle no start code either.
    bool MayPassVideo() const { return mCarry.Size() == 0; }
    void NotePassedVideo() { mUnscanned = mLimits.bytesInHand - 1; }

    /// Position of the packet in which the start code being handled begins.
    std::uint64_t PacketPosition() const { return mPacketPosition; }

    const PrimitiveTable& mPrimitives;
    IndexerState mState;

  private:
    void HoldBack(const VideoPiece& inPiece);
    std::size_t ScanCarry(const VideoPiece& inPiece);
    std::ptrdiff_t HandleCarriedStartCodes();
    void ScanPiece(const VideoPiece& inPiece, std::size_t inFrom);

    void ParseSequenceHeader(const std::uint8_t* inHeader);
    std::uint32_t ParseExtension(const std::uint8_t* inExtension);
    void ParseSequenceExtension(const std::uint8_t* inExtension);
    std::uint32_t ParseSequenceDisplayExtension(const std::uint8_t* inExtension);
    void ParsePictureCodingExtension(const std::uint8_t* inExtension);
    void ParseGopHeader(const std::uint8_t* inHeader);
    std::uint32_t ParsePesHeader(const std::uint8_t* inPacket);

    void RecordPicture(const std::uint8_t* inStartCode, std::uint64_t inPosition);
    std::uint32_t SlotFor(std::uint32_t inTemporalReference);
    void SetReferences(FrameRecord& ioRecord, std::uint32_t inSlot);
    void MakeRoomFor(std::uint32_t inSlot);
    void CloseCurrentRecord(std::uint64_t inPosition);

    ThrowLatch mLatch;
    const ScanLimits mLimits;
    StartCodeCarry mCarry;
    /// Bytes at the end of the video so far from which no start code was handled yet; the carry holds those
    /// of them in which one may begin.
    std::size_t mUnscanned = 0;
    bool mCarryOverflow = false;
    /// Bytes at the start of the next piece of the same unit that a header's length skips.
    std::uint64_t mSkipInUnit = 0;
    std::uint64_t mPacketPosition = 0;
};

/// Indexes a stream in packets: a record's offset is the position of the packet in which the picture's start
/// code begins, transport packet or PES packet.
class PacketIndexer : public PureVideoIndexer {
  public:
    PacketIndexer() = default;
    std::uint64_t RecordOffsetFor(std::uint64_t) const final { return PacketPosition(); }

  protected:
    using PureVideoIndexer::PureVideoIndexer;
};

}  // namespace Vexmora
