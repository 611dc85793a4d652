// The start-code scan over pieces of video, with the carry that joins them.
#include <algorithm>

#include "Indexer/Indexer.h"
#include "primitives/StartCodeSearch.h"

namespace Vexmora {

// Room for the records of about five minutes of video, so that a short stream never grows its vectors.
static constexpr std::size_t kInitialRecordCapacity = 8192;

PureVideoIndexer::PureVideoIndexer(const ScanLimits& inLimits) : mLimits(inLimits) {
    mState.records.reserve(kInitialRecordCapacity);
    mState.picturePts.reserve(kInitialRecordCapacity);
    mState.audioPts.reserve(kInitialRecordCapacity);
}

bool PureVideoIndexer::ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize,
                                  std::uint64_t inPosition) {
    if (mState.failed) return !mCarryOverflow;
    FeedVideo({inBuffer, inSize, {inPosition, inPosition}, inSize, true});
    return !mCarryOverflow;
}

std::uint64_t PureVideoIndexer::RecordOffsetFor(std::uint64_t inStartCodePosition) const {
    return inStartCodePosition;
}

void PureVideoIndexer::FeedVideo(const VideoPiece& inPiece) {
    if (inPiece.beginsUnit) mSkipInUnit = 0;
    if (mCarry.Size() == 0) {
        const std::size_t skipped = std::min<std::uint64_t>(mSkipInUnit, inPiece.size);
        mSkipInUnit -= skipped;
        ScanPiece(inPiece, skipped);
    } else if (inPiece.unitSize >= kLookAhead) {
        ScanPiece(inPiece, ScanCarry(inPiece));
    } else if (mCarry.Size() + inPiece.size <= mLimits.carryLimit) {
        mCarry.Append(inPiece.bytes, inPiece.size, inPiece.origin);
    } else {
        mState.failed = mCarryOverflow = true;
    }
}

// Scans the carry together with the first bytes of the piece. Returns where in the piece the scan goes on: at
// its end when all of it went into the carry, beyond its end when a header's length skips more than it has.
std::size_t PureVideoIndexer::ScanCarry(const VideoPiece& inPiece) {
    std::size_t taken = 0;
    while (!mState.failed) {
        const std::size_t count =
            std::min({kLookAhead, mLimits.carryCapacity - mCarry.Size(), inPiece.size - taken});
        mCarry.Append(inPiece.bytes + taken, count,
                      {inPiece.origin.position + taken, inPiece.origin.packetPosition});
        taken += count;

        const std::ptrdiff_t remaining = HandleCarriedStartCodes();
        if (remaining <= static_cast<std::ptrdiff_t>(taken)) {
            mCarry.Clear();  // what was not scanned lies in the piece
            return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(taken) - remaining);
        }
        mCarry.DropFront(mCarry.Size() - static_cast<std::size_t>(remaining));
        if (taken == inPiece.size) return taken;
    }
    return inPiece.size;
}

// Returns the bytes of the carry from where the scan stopped; negative when a skip went beyond its end.
std::ptrdiff_t PureVideoIndexer::HandleCarriedStartCodes() {
    const std::size_t size = mCarry.Size();
    std::size_t at = 0;
    while (at + mLimits.bytesInHand <= size) {
        at += FindStartCodePrefix(mCarry.Bytes() + at, size - at - mLimits.bytesInHand + 1);
        if (at + mLimits.bytesInHand > size) break;
        const ByteOrigin origin = mCarry.OriginOf(at);
        mPacketPosition = origin.packetPosition;
        at += HandleStartCode(mCarry.Bytes() + at, origin.position);
    }
    return static_cast<std::ptrdiff_t>(size) - static_cast<std::ptrdiff_t>(at);
}

void PureVideoIndexer::ScanPiece(const VideoPiece& inPiece, std::size_t inFrom) {
    mPacketPosition = inPiece.origin.packetPosition;
    std::size_t at = inFrom;
    while (at + mLimits.bytesInHand <= inPiece.size && !mState.failed) {
        at += FindStartCodePrefix(inPiece.bytes + at, inPiece.size - at - mLimits.bytesInHand + 1);
        if (at + mLimits.bytesInHand > inPiece.size) break;
        at += HandleStartCode(inPiece.bytes + at, inPiece.origin.position + at);
    }
    if (at < inPiece.size && !mState.failed) {
        mCarry.Append(inPiece.bytes + at, inPiece.size - at,
                      {inPiece.origin.position + at, inPiece.origin.packetPosition});
    } else if (at > inPiece.size) {
        mSkipInUnit = at - inPiece.size;
    }
}

}  // namespace Vexmora
