// Start codes over the cuts between pieces, headers, and what they make of a picture.
#include "sources/VideoScanner.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sources/VideoStartCodes.h"

namespace VexmoraHost {
namespace {

constexpr std::uint16_t kFramePicture = 3;
constexpr std::uint32_t kStartCodePrefix = 0x000001;
constexpr std::size_t kStartCodePrefixSize = 3;
constexpr std::uint64_t kStartCodeSize = 4;
// Distinct ones; a stream with more is out to fill the memory.
constexpr std::size_t kMostParameterSets = 65536;

bool IsSlice(std::uint8_t inCode) {
    return inCode != kPictureStartCode && inCode <= kLastSliceStartCode;
}

// Whether the prefix of a start code begins at one of kBlock bytes, of which two more can be read. Compilers
// make a few instructions of it.
constexpr std::size_t kBlock = 64;
bool HasPrefix(const std::uint8_t* inBytes) {
    std::uint8_t least = 0xFF;
    for (std::size_t i = 0; i < kBlock; ++i) {
        const unsigned isNone = inBytes[i] | inBytes[i + 1] | (inBytes[i + 2] ^ 1u);
        least = std::min(least, static_cast<std::uint8_t>(isNone));
    }
    return least == 0;
}

// The first byte from inFrom (at least 3) on that has the prefix of a start code right before it; the size
// if there is none.
std::size_t FindCode(std::span<const std::uint8_t> inBytes, std::size_t inFrom) {
    const std::uint8_t* const bytes = inBytes.data();
    const std::size_t size = inBytes.size();
    std::size_t at = inFrom - kStartCodePrefixSize;
    while (at + kStartCodePrefixSize < size) {
        // The last block reaches back over what was searched before.
        const std::size_t end = std::min(at + kBlock, size - kStartCodePrefixSize);
        if (end < kBlock || HasPrefix(bytes + end - kBlock)) {
            for (; at < end; ++at) {
                if (bytes[at] == 0 && bytes[at + 1] == 0 && bytes[at + 2] == 1)
                    return at + kStartCodePrefixSize;
            }
        }
        at = end;
    }
    return size;
}

}  // namespace

void VideoScanner::Add(const VideoPiece& inPiece) {
    const std::span<const std::uint8_t> bytes = inPiece.bytes;
    if (bytes.empty()) return;
    if (inPiece.isAfterLoss) NoteLoss();
    mPieces[mPieceCount++ % mPieces.size()] = {mOffset, inPiece.position};
    if (inPiece.pts) mTimeBefore = std::exchange(mTime, {mOffset, *inPiece.pts});

    std::size_t at = 0;  // behind the last start code
    const auto handle = [&](std::size_t inCodeAt) {
        Collect(bytes.subspan(at, inCodeAt - at));
        HandleStartCode(bytes[inCodeAt], mOffset + inCodeAt + 1 - kStartCodeSize);
        at = inCodeAt + 1;
        mTail = ~0u;
    };
    const std::size_t size = bytes.size();
    const bool mayEndPrefix = (mTail & 0xFF) <= 1 || size < kStartCodePrefixSize;
    for (std::size_t i = 0; mayEndPrefix && i < std::min(size, kStartCodePrefixSize); ++i) {
        if ((mTail & 0xFFFFFF) == kStartCodePrefix) {
            handle(i);
        } else {
            mTail = mTail << 8 | bytes[i];
        }
    }
    for (std::size_t code = at + kStartCodePrefixSize; code < size; code += kStartCodeSize) {
        code = FindCode(bytes, code);
        if (code == size) break;
        const bool isQuiet = !mIsCollecting && !mPicture && !mNewSequence;
        if (isQuiet && IsSlice(bytes[code])) {
            at = code + 1;
        } else {
            handle(code);
        }
    }
    Collect(bytes.subspan(at));
    if (size >= kStartCodePrefixSize) {
        mTail = ~0u;
        for (std::size_t i = std::max(at, size - kStartCodePrefixSize); i < size; ++i)
            mTail = mTail << 8 | bytes[i];
    }
    mOffset += size;
}

CodedVideo VideoScanner::Finish() {
    EndHeader(mOffset);
    EndSequence();
    EndPicture();
    CloseFrame(mOffset);
    return std::move(mVideo);
}

// No start code and no header reaches over missing bytes.
void VideoScanner::NoteLoss() {
    EndHeader(mOffset);
    mTail = ~0u;
    if (mIsFrameOpen && !mPicture) mVideo.frames.back().flags |= kAfterLossFlag;
    mLoss = mOffset;
}

void VideoScanner::Collect(std::span<const std::uint8_t> inBytes) {
    if (!mIsCollecting) return;
    const std::size_t count = std::min(inBytes.size(), mHeader.size() - mHeaderSize);
    std::copy_n(inBytes.begin(), count, mHeader.begin() + static_cast<std::ptrdiff_t>(mHeaderSize));
    mHeaderSize += count;
}

void VideoScanner::HandleStartCode(std::uint8_t inCode, std::uint64_t inOffset) {
    EndHeader(inOffset);
    if (inCode != kExtensionStartCode) mExpectsSequenceExtension = false;
    if (inCode != kExtensionStartCode && inCode != kUserDataStartCode) {
        EndSequence();
        EndPicture();
    }
    switch (inCode) {
        case kPictureStartCode:
            BeginPicture(inOffset);
            break;
        case kSequenceHeaderCode:
        case kGroupStartCode:
            CloseFrame(inOffset);
            break;
        case kSequenceEndCode:
            CloseFrame(inOffset);
            mNext.flags |= kSequenceEndFlag;
            return;
        case kExtensionStartCode:
            break;
        default:
            return;
    }
    mIsCollecting = true;
    mHeaderCode = inCode;
    mHeaderBegin = inOffset + kStartCodeSize;
    mHeaderSize = 0;
}

void VideoScanner::BeginPicture(std::uint64_t inOffset) {
    mPicture = Picture{.begin = inOffset};
    CodedFrame& frame = mPicture->frame;
    const PieceBegin* piece = nullptr;
    for (const PieceBegin& one : mPieces) {
        const bool isNearer = piece == nullptr || one.offset > piece->offset;
        if (one.offset <= inOffset && isNearer) piece = &one;
    }
    if (piece != nullptr) {
        frame.position = piece->position;
        frame.skip = static_cast<std::uint32_t>(inOffset - piece->offset);
    }
    frame.pts = TakeTime(inOffset);
}

// A time stamp belongs to the first picture that begins behind it (ISO/IEC 13818-1, 2.4.3.7), which one
// whose start code is cut by the packet does not.
std::int64_t VideoScanner::TakeTime(std::uint64_t inOffset) {
    const bool isBehindLast = mTime.offset <= inOffset;
    const TimeStamp before = std::exchange(mTimeBefore, {});
    if (isBehindLast) return std::exchange(mTime, {}).pts;
    return before.pts;
}

// ---- Headers ----------------------------------------------------------------------------------------------

// Of what was collected, the bytes behind inOffset belong to the next start code.
void VideoScanner::EndHeader(std::uint64_t inOffset) {
    if (!std::exchange(mIsCollecting, false)) return;
    const std::uint64_t length = inOffset < mHeaderBegin ? 0 : inOffset - mHeaderBegin;
    const auto header = std::span(mHeader).first(std::min<std::uint64_t>(mHeaderSize, length));
    switch (mHeaderCode) {
        case kPictureStartCode:
            EndPictureHeader(header);
            break;
        case kSequenceHeaderCode:
            mNewSequence = ParseSequenceHeader(header);
            mExpectsSequenceExtension = true;
            break;
        case kGroupStartCode:
            EndGroupHeader(header);
            break;
        default:
            EndExtension(header);
            break;
    }
}

void VideoScanner::EndPictureHeader(std::span<const std::uint8_t> inHeader) {
    CodedFrame& frame = mPicture->frame;
    HeaderBits bits(inHeader);
    const bool isWhole = bits.Has(13);
    frame.header = static_cast<std::uint16_t>(bits.Get(13) << 3);
    frame.flags = kFramePicture;
    const unsigned type = frame.PictureCodingType();
    if (!isWhole || type < 1 || type > 3 || !mSequence) mPicture.reset();
}

void VideoScanner::EndGroupHeader(std::span<const std::uint8_t> inHeader) {
    HeaderBits bits(inHeader);
    if (!bits.Has(27)) return;
    mNext.timeCode = bits.Get(25);
    mNext.flags &= static_cast<std::uint16_t>(~(kClosedGroupFlag | kBrokenLinkFlag));
    mNext.flags |= kGroupFlag;
    if (bits.Get(1) != 0) mNext.flags |= kClosedGroupFlag;
    if (bits.Get(1) != 0) mNext.flags |= kBrokenLinkFlag;
}

void VideoScanner::EndExtension(std::span<const std::uint8_t> inHeader) {
    const bool isFirst = std::exchange(mExpectsSequenceExtension, false);
    const unsigned identifier = HeaderBits(inHeader).Get(4);
    if (mNewSequence) {
        if (identifier == kSequenceExtensionId && isFirst) ParseSequenceExtension(inHeader, *mNewSequence);
        const bool isDisplay = identifier == kSequenceDisplayExtensionId && mNewSequence->IsMpeg2();
        if (isDisplay) ParseSequenceDisplayExtension(inHeader, *mNewSequence);
    } else if (mPicture && identifier == kPictureCodingExtensionId && !mPicture->hasExtension) {
        EndPictureCodingExtension(inHeader);
    } else if (mPicture && identifier == kQuantMatrixExtensionId && mPicture->hasExtension) {
        if (!mPicture->matrices) mPicture->matrices = mSequence;
        LoadMatrices(inHeader, *mPicture->matrices);
    }
}

void VideoScanner::EndPictureCodingExtension(std::span<const std::uint8_t> inHeader) {
    HeaderBits bits(inHeader);
    if (!bits.Has(33)) return;
    bits.Skip(4 + 16 + 2);  // identifier, f_code, intra_dc_precision
    const auto picture_structure = static_cast<std::uint16_t>(bits.Get(2));
    std::uint16_t& flags = mPicture->frame.flags;
    flags = picture_structure != 0 ? picture_structure : kFramePicture;
    if (bits.Get(1) != 0) flags |= kTopFieldFirstFlag;
    bits.Skip(5);  // frame_pred_frame_dct to alternate_scan
    if (bits.Get(1) != 0) flags |= kRepeatFirstFieldFlag;
    bits.Skip(1);  // chroma_420_type
    if (bits.Get(1) != 0) flags |= kProgressiveFrameFlag;
    mPicture->hasExtension = true;
}

// Headers that no decoder can do with are passed over once there was a good one, as decoders do.
void VideoScanner::EndSequence() {
    if (!mNewSequence) return;
    SequenceSyntax sequence = std::move(*std::exchange(mNewSequence, std::nullopt));
    const bool isBetter =
        !mSequence || !mSequence->IsUsable() || (!mSequence->IsMpeg2() && sequence.IsMpeg2());
    const bool isAsGood = sequence.IsUsable() && (sequence.IsMpeg2() || !mSequence || !mSequence->IsMpeg2());
    mNext.flags |= kSequenceFlag;
    if (!isBetter && !isAsGood) return;
    const unsigned code = sequence.FrameRateCode();
    if (mSequence && (code < 1 || code > 8)) sequence.SetFrameRateCode(mSequence->FrameRateCode());
    mSequence = std::move(sequence);
    mParameters.reset();
}

// ---- Frames -----------------------------------------------------------------------------------------------

void VideoScanner::EndPicture() {
    if (!mPicture) return;
    Picture picture = std::move(*std::exchange(mPicture, std::nullopt));
    CodedFrame& frame = picture.frame;
    frame.parameters = ParametersInForce();
    const CodedFrame between = std::exchange(mNext, {});
    frame.timeCode = between.timeCode;
    if (!picture.hasExtension && mSequence->IsMpeg2()) frame.flags |= kNoExtensionFlag;
    frame.flags |= between.flags;
    if (CompletesFrame(picture)) {
        CodedFrame& first = mVideo.frames.back();
        first.secondField = static_cast<std::uint32_t>(picture.begin - mFrameBegin);
        first.flags = static_cast<std::uint16_t>(first.flags | frame.PictureCodingType() << 12);
        if (mLoss != kNowhere && mLoss >= picture.begin) first.flags |= kAfterLossFlag;
    } else {
        CloseFrame(picture.begin);
        if (mLoss != kNowhere && mLoss >= mFrameEnd) frame.flags |= kAfterLossFlag;
        mVideo.frames.push_back(frame);
        mFrameBegin = picture.begin;
    }
    mIsFrameOpen = true;
    if (picture.matrices) {
        mSequence = std::move(picture.matrices);
        mParameters.reset();
    }
}

// Whether the picture is the other field of the frame before.
bool VideoScanner::CompletesFrame(const Picture& inPicture) const {
    if (mVideo.frames.empty()) return false;
    const CodedFrame& first = mVideo.frames.back();
    const CodedFrame& second = inPicture.frame;
    const bool areFields = first.IsField() && second.IsField() && !first.IsFieldPair();
    const bool isOther = (first.flags & 3) != (second.flags & 3);
    const bool isSameFrame = first.TemporalReference() == second.TemporalReference() &&
                             (second.flags & (kGroupFlag | kSequenceEndFlag)) == 0;
    const bool isSameSequence = (second.flags & kSequenceFlag) == 0 || first.parameters == second.parameters;
    return areFields && isOther && isSameFrame && isSameSequence &&
           inPicture.begin - mFrameBegin < kLargestFrame;
}

void VideoScanner::CloseFrame(std::uint64_t inOffset) {
    if (!std::exchange(mIsFrameOpen, false)) return;
    mFrameEnd = inOffset;
    mVideo.frames.back().size =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(inOffset - mFrameBegin, kLargestFrame));
}

std::uint32_t VideoScanner::ParametersInForce() {
    if (mParameters) return *mParameters;
    SequenceParameterSet set = mSequence->Assemble();
    const std::string key(set.bytes.begin(), set.bytes.end());
    const auto known = mKnownParameters.find(key);
    if (known != mKnownParameters.end()) {
        mParameters = known->second;
    } else if (mVideo.parameters.size() < kMostParameterSets) {
        mParameters = static_cast<std::uint32_t>(mVideo.parameters.size());
        mKnownParameters.emplace(key, *mParameters);
        mVideo.parameters.push_back(std::move(set));
    } else {
        mParameters = mVideo.frames.back().parameters;
    }
    return *mParameters;
}

}  // namespace VexmoraHost
