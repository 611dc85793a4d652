// The last bytes of a piece of video, held back until enough of the next piece is there to handle a start
// code that begins among them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// Where a byte of the video lies in the whole stream.
struct ByteOrigin {
    /// Stream position of the byte itself.
    std::uint64_t position;
    /// Stream position of the packet that carries it; without packets, of the buffer that held it.
    std::uint64_t packetPosition;
};

/// Bytes of the video in order, from one or several pieces, each byte with its origin.
class StartCodeCarry {
  public:
    static constexpr std::size_t kCapacity = 320;

    std::size_t Size() const { return mSize; }
    const std::uint8_t* Bytes() const { return mBytes.data(); }

    /// Adds bytes that follow each other in the stream, the first of them at inOrigin. The caller sees to it
    /// that they fit.
    void Append(const std::uint8_t* inBytes, std::size_t inCount, const ByteOrigin& inOrigin);

    /// Removes the first inCount bytes (at most Size()).
    void DropFront(std::size_t inCount);

    void Clear() { mSize = mPieceCount = 0; }

    /// The origin of the byte at inIndex (less than Size()).
    ByteOrigin OriginOf(std::size_t inIndex) const;

  private:
    /// Bytes from one place of the stream; begin counts from the front of the carry.
    struct Piece {
        std::size_t begin;
        ByteOrigin origin;
    };

    std::array<std::uint8_t, kCapacity> mBytes;
    std::array<Piece, kCapacity> mPieces;  // every piece has at least one byte
    std::size_t mSize = 0;
    std::size_t mPieceCount = 0;
};

}  // namespace Vexmora
