// From packet to packet.
#include "sources/CodedFrameReader.h"

#include <algorithm>
#include <array>

namespace VexmoraHost {

bool CodedFrameReader::Read(const CodedFrame& inFrame, std::span<std::uint8_t> outBytes) {
    constexpr std::array<std::uint8_t, 4> kPictureStartCode{0, 0, 1, 0};
    if (outBytes.size() > inFrame.size || !GoTo(inFrame.position)) return false;
    std::size_t skip = inFrame.skip;
    std::size_t got = 0;
    while (got < outBytes.size()) {
        // All of the bytes before the start code are in the first packet.
        if (skip >= mPiece.bytes.size()) return false;
        const std::size_t count = std::min(mPiece.bytes.size() - skip, outBytes.size() - got);
        std::copy_n(mPiece.bytes.begin() + static_cast<std::ptrdiff_t>(skip), count,
                    outBytes.begin() + static_cast<std::ptrdiff_t>(got));
        got += count;
        skip = 0;
        if (got == outBytes.size()) break;
        mHasPiece = false;  // what it shows is gone, even if there is no next one
        if (!mReader->Next(mPiece)) return false;
        mHasPiece = true;
    }
    return outBytes.size() >= kPictureStartCode.size() &&
           std::equal(kPictureStartCode.begin(), kPictureStartCode.end(), outBytes.begin());
}

// The next frame often begins in the packet in which the last one ended.
bool CodedFrameReader::GoTo(std::uint64_t inPosition) {
    if (mHasPiece && mPiece.position == inPosition) return true;
    mHasPiece = false;
    mReader->Seek(inPosition);
    mHasPiece = mReader->Next(mPiece);
    return mHasPiece && mPiece.position == inPosition;
}

}  // namespace VexmoraHost
