// The start-code scan over pieces of video, with the carry that joins them.
#include <algorithm>

#include "Indexer/Indexer.h"
#include "mpeg_system/StartCodes.h"
#include "primitives/PrimitiveTable.h"

namespace Vexmora {
namespace {

// Whether the last bytes of a piece are, or begin, the prefix of a start code.
bool MayBePrefix(const std::uint8_t* inBytes, std::size_t inCount) {
    return inBytes[0] == 0 && (inCount < 2 || inBytes[1] == 0) && (inCount < 3 || inBytes[2] == 1);
}

// Room for the records of about five minutes of video, so that a short stream never grows its vectors.
constexpr std::size_t kInitialRecordCapacity = 8192;

}  // namespace

PureVideoIndexer::PureVideoIndexer(const ScanLimits& inLimits)
    : mPrimitives(SelectedPrimitives()), mLimits(inLimits) {
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
    if (mUnscanned > 0 && inPiece.unitSize < kLookAhead) {
        HoldBack(inPiece);
    } else if (mCarry.Size() > 0) {
        ScanPiece(inPiece, ScanCarry(inPiece));
    } else {
        const std::size_t skipped = std::min<std::uint64_t>(mSkipInUnit, inPiece.size);
        mSkipInUnit -= skipped;
        ScanPiece(inPiece, skipped);
    }
}

// A short unit is not scanned before a longer one follows; too many of them in a row are no video.
void PureVideoIndexer::HoldBack(const VideoPiece& inPiece) {
    if (mUnscanned + inPiece.size > mLimits.mostUnscanned) {
        mState.failed = mCarryOverflow = true;
        return;
    }
    mUnscanned += inPiece.size;
    mCarry.Append(inPiece.bytes, inPiece.size, inPiece.origin);
}

// Scans the carry together with the first bytes of the piece. Returns where in the piece the scan goes on: at
// its end when all of it went into the carry, beyond its end when a header's length skips more than it has.
std::size_t PureVideoIndexer::ScanCarry(const VideoPiece& inPiece) {
    const std::size_t taken = std::min(kLookAhead, inPiece.size);
    mCarry.Append(inPiece.bytes, taken, inPiece.origin);
    mUnscanned += taken;
    const std::ptrdiff_t remaining = HandleCarriedStartCodes();
    if (remaining > static_cast<std::ptrdiff_t>(taken)) {
        // A short part of a longer unit: the start code at the front still waits for more.
        mCarry.DropFront(mCarry.Size() - static_cast<std::size_t>(remaining));
        mUnscanned = std::min(mUnscanned, mLimits.bytesInHand - 1);
        return taken;
    }
    mCarry.Clear();  // what was not scanned lies in the piece, and is counted there
    mUnscanned -= static_cast<std::size_t>(std::max<std::ptrdiff_t>(remaining, 0));
    return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(taken) - remaining);
}

// Returns the bytes of the carry from where the scan stopped; negative when a skip went beyond its end.
std::ptrdiff_t PureVideoIndexer::HandleCarriedStartCodes() {
    const std::size_t size = mCarry.Size();
    std::size_t at = 0;
    while (at + mLimits.bytesInHand <= size) {
        at += mPrimitives.findStartCodePrefix(mCarry.Bytes() + at, size - at - mLimits.bytesInHand + 1);
        if (at + mLimits.bytesInHand > size) break;
        const ByteOrigin origin = mCarry.OriginOf(at);
        mPacketPosition = origin.packetPosition;
        at += HandleStartCode(mCarry.Bytes() + at, origin.position);
        mUnscanned = size - std::min(at, size);
    }
    return static_cast<std::ptrdiff_t>(size) - static_cast<std::ptrdiff_t>(at);
}

// Handles the start codes that have enough of the piece behind them; of the last bytes only those from a
// start code on, or from what may become one, are carried.
void PureVideoIndexer::ScanPiece(const VideoPiece& inPiece, std::size_t inFrom) {
    mPacketPosition = inPiece.origin.packetPosition;
    std::size_t at = inFrom;
    std::size_t scanned = inFrom;
    // Slices are of no interest, but their start codes count as scanned. That is to be seen only near the
    // end.
    const std::size_t tail =
        inPiece.size - std::min(inPiece.size, mLimits.bytesInHand + kStartCodePrefixSize - 1);
    while (at + kStartCodePrefixSize <= inPiece.size && !mState.failed) {
        if (at < tail) at += mPrimitives.findCodeButSlices(inPiece.bytes + at, tail - at);
        if (at >= tail) {
            const std::size_t positions = inPiece.size - at - kStartCodePrefixSize + 1;
            at += mPrimitives.findStartCodePrefix(inPiece.bytes + at, positions);
        }
        if (at + mLimits.bytesInHand > inPiece.size) break;
        at += HandleStartCode(inPiece.bytes + at, inPiece.origin.position + at);
        scanned = at;
        mUnscanned = 0;
    }
    if (mState.failed) return;
    if (scanned > inPiece.size) {
        mSkipInUnit = scanned - inPiece.size;
        mUnscanned = 0;
        return;
    }
    mUnscanned = std::min(mUnscanned + inPiece.size - scanned, mLimits.bytesInHand - 1);
    while (at < inPiece.size && !MayBePrefix(inPiece.bytes + at, inPiece.size - at)) ++at;
    if (at < inPiece.size) {
        mCarry.Append(inPiece.bytes + at, inPiece.size - at,
                      {inPiece.origin.position + at, inPiece.origin.packetPosition});
    }
}

}  // namespace Vexmora
