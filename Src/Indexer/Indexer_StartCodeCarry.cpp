// Appending, dropping and locating carried bytes.
#include "Indexer/Indexer_StartCodeCarry.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace Vexmora {

void StartCodeCarry::Append(const std::uint8_t* inBytes, std::size_t inCount, const ByteOrigin& inOrigin) {
    assert(inCount <= kCapacity - mSize);
    inCount = std::min(inCount, kCapacity - mSize);  // never beyond the end, whatever the caller got wrong
    if (inCount == 0) return;
    std::memcpy(mBytes.data() + mSize, inBytes, inCount);
    mPieces[mPieceCount++] = {mSize, inOrigin};
    mSize += inCount;
}

void StartCodeCarry::DropFront(std::size_t inCount) {
    if (inCount == 0) return;
    mSize -= inCount;
    std::memmove(mBytes.data(), mBytes.data() + inCount, mSize);
    if (mSize == 0) {
        mPieceCount = 0;
        return;
    }
    const auto end = mPieces.begin() + static_cast<std::ptrdiff_t>(mPieceCount);
    // The piece that holds the new first byte is the last one that begins at or before it.
    const auto first =
        std::upper_bound(mPieces.begin(), end, inCount,
                         [](std::size_t inIndex, const Piece& inPiece) { return inIndex < inPiece.begin; }) -
        1;
    first->origin.position += inCount - first->begin;
    first->begin = inCount;
    const auto newEnd = std::move(first, end, mPieces.begin());
    mPieceCount = static_cast<std::size_t>(newEnd - mPieces.begin());
    for (auto piece = mPieces.begin(); piece != newEnd; ++piece) piece->begin -= inCount;
}

ByteOrigin StartCodeCarry::OriginOf(std::size_t inIndex) const {
    std::size_t piece = mPieceCount - 1;
    while (mPieces[piece].begin > inIndex) --piece;
    ByteOrigin origin = mPieces[piece].origin;
    origin.position += inIndex - mPieces[piece].begin;
    return origin;
}

}  // namespace Vexmora
