// Watches for start codes.
#include "sources/SequenceProbe.h"

#include "sources/StreamTypes.h"
#include "sources/VideoStartCodes.h"

namespace VexmoraHost {
namespace {

constexpr std::size_t kSmallestHeader = 8;
// With both matrices and the next prefix.
constexpr std::size_t kLargestHeader = kSmallestHeader + 2 * 64 + 3;
constexpr std::size_t kExtensionBytes = 3;

}  // namespace

void SequenceProbe::Feed(std::span<const std::uint8_t> inBytes) {
    for (const std::uint8_t byte : inBytes) {
        if (mState == State::Done) return;
        mLastBytes = mLastBytes << 8 | byte;
        if (mLastBytes >> 8 == 1) {
            NoteStartCode(byte);
        } else if (mState == State::InHeader) {
            mHeader.push_back(byte);
            if (mHeader.size() > kLargestHeader + 16) mState = State::Searching;  // damaged
        } else if (mState == State::InExtension) {
            mExtension.push_back(byte);
            if (mExtension.size() == kExtensionBytes) Read(mExtension[0] >> 4 == kSequenceExtensionId);
        }
    }
}

void SequenceProbe::NoteStartCode(std::uint8_t inCode) {
    if (inCode == kSequenceHeaderCode) {
        mHeader.clear();
        mState = State::InHeader;
    } else if (mState == State::InHeader && mHeader.size() >= kSmallestHeader) {
        mExtension.clear();
        if (inCode == kExtensionStartCode) {
            mState = State::InExtension;
        } else {
            Read(false);
        }
    } else {
        mState = State::Searching;
        // Units with parameters: of H.264 a sequence's, of HEVC a video's. Slices of MPEG have these codes
        // too, but then there is a sequence header sooner or later.
        mSeemsH264 |= (inCode & 0x9F) == 0x07;
        mSeemsHevc |= inCode == 0x40;
    }
}

void SequenceProbe::Read(bool inHasExtension) {
    mWidth = static_cast<std::uint32_t>(mHeader[0] << 4 | mHeader[1] >> 4);
    mHeight = static_cast<std::uint32_t>((mHeader[1] & 15) << 8 | mHeader[2]);
    mIsMpeg2 = inHasExtension;
    if (inHasExtension) {
        mWidth |= static_cast<std::uint32_t>((mExtension[1] & 1) << 1 | mExtension[2] >> 7) << 12;
        mHeight |= static_cast<std::uint32_t>(mExtension[2] >> 5 & 3) << 12;
    }
    const bool isPlausible = mWidth > 0 && mHeight > 0;
    mState = isPlausible ? State::Done : State::Searching;
}

void SequenceProbe::Describe(StreamInfo& ioStream) const {
    if (IsDone()) {
        ioStream.codec = mIsMpeg2 ? kMpeg2Video : kMpeg1Video;
        ioStream.width = mWidth;
        ioStream.height = mHeight;
    } else if (ioStream.codec == kUnknownVideo && (mSeemsH264 || mSeemsHevc)) {
        ioStream.codec = mSeemsH264 ? kH264Video : kHevcVideo;
    }
}

}  // namespace VexmoraHost
