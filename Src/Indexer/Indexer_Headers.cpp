// What each start code means to the index: the header fields that are read (ISO/IEC 13818-2, 6.2.2 and 6.2.3)
// and the bytes that need not be scanned.
#include "Contract/Contract.h"
#include "Indexer/Indexer.h"
#include "mpeg_system/PesHeader.h"
#include "mpeg_system/StartCodes.h"
#include "mpeg_system/VideoSyntax.h"

namespace Vexmora {
namespace {

// Where the scan goes on behind a start code that needs no more: right behind it.
constexpr std::uint32_t kPlainSkip = kStartCodeSize;
constexpr std::uint32_t kPictureSkip = 5;
constexpr std::uint32_t kSequenceDisplaySkip = 8;
constexpr std::uint32_t kColourDescriptionSize = 3;

}  // namespace

std::uint32_t PureVideoIndexer::HandleStartCode(const std::uint8_t* inBuffer, std::uint64_t inPosition) {
    Check(IsStartCode(inBuffer), contracts::kAtStartCode);
    switch (StartCodeAt(inBuffer)) {
        case kPictureStartCode:
            RecordPicture(inBuffer, inPosition);
            return kPictureSkip;
        case kSequenceHeaderCode:
            CloseCurrentRecord(inPosition);
            if (!mState.sequenceSeen) ParseSequenceHeader(inBuffer);
            return kPlainSkip;
        case kExtensionStartCode:
            return mState.sequenceSeen ? ParseExtension(inBuffer) : kPlainSkip;
        case kSequenceEndCode:
            CloseCurrentRecord(inPosition);
            return kPlainSkip;
        case kGroupStartCode:
            CloseCurrentRecord(inPosition);
            ParseGopHeader(inBuffer);
            return kPlainSkip;
        case kAudioStreamCode:
        case kVideoStreamCode:
            return ParsePesHeader(inBuffer);
        default:
            return kPlainSkip;
    }
}

// Only the first valid sequence header counts.
void PureVideoIndexer::ParseSequenceHeader(const std::uint8_t* inHeader) {
    mState.width = static_cast<std::uint16_t>(inHeader[4] << 4 | inHeader[5] >> 4);
    mState.height = static_cast<std::uint16_t>((inHeader[5] & 0x0F) << 8 | inHeader[6]);
    mState.aspectRatioCode = inHeader[7] >> 4;
    mState.frameRateCode = inHeader[7] & 0x0F;
    if (mState.frameRateCode >= 1 && mState.frameRateCode < kFrameRate1000.size()) {
        mState.sequenceSeen = true;
    } else {
        mState.failed = true;
    }
}

std::uint32_t PureVideoIndexer::ParseExtension(const std::uint8_t* inExtension) {
    switch (inExtension[4] >> 4) {
        case kSequenceExtensionId:
            ParseSequenceExtension(inExtension);
            return kPlainSkip;
        case kSequenceDisplayExtensionId:
            return ParseSequenceDisplayExtension(inExtension);
        case kPictureCodingExtensionId:
            ParsePictureCodingExtension(inExtension);
            return kPlainSkip;
        default:
            return kPlainSkip;
    }
}

// The first one completes the picture size; a later one must agree with it.
void PureVideoIndexer::ParseSequenceExtension(const std::uint8_t* inExtension) {
    const unsigned horizontal_size_extension = (inExtension[5] & 1u) << 1 | inExtension[6] >> 7;
    const unsigned vertical_size_extension = (inExtension[6] >> 5) & 3u;
    if (mState.mpeg2) {
        if (horizontal_size_extension != unsigned{mState.width} >> 12 ||
            vertical_size_extension != unsigned{mState.height} >> 12) {
            mState.failed = true;
        }
        return;
    }
    mState.mpeg2 = true;
    mState.progressiveSequence = (inExtension[5] & 8) != 0;
    mState.width = static_cast<std::uint16_t>(mState.width | horizontal_size_extension << 12);
    mState.height = static_cast<std::uint16_t>(mState.height | vertical_size_extension << 12);
    mState.frameRateExtN = (inExtension[9] >> 5) & 3;
    mState.frameRateExtD = inExtension[9] & 0x1F;
}

// A display size must be the picture's; a later extension must agree with the first in its low 12 bits.
std::uint32_t PureVideoIndexer::ParseSequenceDisplayExtension(const std::uint8_t* inExtension) {
    const bool colour_description = (inExtension[4] & 1) != 0;
    const std::uint8_t* size = inExtension + (colour_description ? 5 + kColourDescriptionSize : 5);
    const auto display_horizontal_size = static_cast<std::uint16_t>(size[0] << 6 | size[1] >> 2);
    const auto display_vertical_size =
        static_cast<std::uint16_t>((size[1] & 1) << 13 | size[2] << 5 | size[3] >> 3);
    if (!mState.displayExtensionSeen) {
        mState.displayExtensionSeen = true;
        mState.videoFormat = (inExtension[4] >> 1) & 7;
        if (colour_description) {
            mState.colourPrimariesWord = std::uint32_t{inExtension[5]} << 3;
            mState.transferWord = std::uint32_t{inExtension[6]} << 6;
            mState.matrixWord = std::uint32_t{inExtension[7]} << 10;
        }
        mState.displayWidth = display_horizontal_size;
        mState.displayHeight = display_vertical_size;
        const bool widthFits = display_horizontal_size == 0 || display_horizontal_size == mState.width;
        const bool heightFits = display_vertical_size == 0 || display_vertical_size == mState.height;
        if (!widthFits || !heightFits) mState.failed = true;
    } else if (((display_horizontal_size ^ mState.displayWidth) & 0xFFF) != 0 ||
               ((display_vertical_size ^ mState.displayHeight) & 0xFFF) != 0) {
        mState.failed = true;
    }
    return kSequenceDisplaySkip + (colour_description ? kColourDescriptionSize : 0);
}

// Speaks of the picture that was recorded last. Field pictures are not indexed.
void PureVideoIndexer::ParsePictureCodingExtension(const std::uint8_t* inExtension) {
    const unsigned picture_structure = inExtension[6] & 3;
    if (mState.pictureStructureWord == 0) mState.pictureStructureWord = picture_structure << 15;
    if (picture_structure != kFramePicture) mState.failed = true;
    if (mState.pictureCount == 0) return;

    const bool top_field_first = (inExtension[7] & 0x80) != 0;
    const bool repeat_first_field = (inExtension[7] & 0x02) != 0;
    const bool progressive_frame = (inExtension[8] & 0x80) != 0;
    FrameRecord& record = mState.records[mState.currentRecord];  // packed: no references to its fields
    record.flags = static_cast<std::uint16_t>(
        (record.flags & ~(kProgressiveFrameBit | kTopFieldFirstBit | kRepeatFirstFieldBit)) |
        (progressive_frame ? kProgressiveFrameBit : 0) | (top_field_first ? kTopFieldFirstBit : 0) |
        (repeat_first_field ? kRepeatFirstFieldBit : 0));
}

void PureVideoIndexer::ParseGopHeader(const std::uint8_t* inHeader) {
    const bool closed_gop = (inHeader[7] & 0x40) != 0;
    const bool broken_link = (inHeader[7] & 0x20) != 0;
    mState.currentBrokenLink = broken_link;
    if (mState.awaitingFirstGop) {
        mState.firstGopClosed = closed_gop;
        mState.awaitingFirstGop = false;
    }
    if (mState.picturesSinceGop != 0) {
        mState.gopBase += mState.gopMaxTR + 1;
        mState.gopMaxTR = 0;
        mState.picturesSinceGop = 0;
    }
}

// A PES header in the middle of the video: a stream that was cut out of its packets carelessly.
std::uint32_t PureVideoIndexer::ParsePesHeader(const std::uint8_t* inPacket) {
    if (!IsMpeg2Pes(inPacket)) return kPlainSkip;
    if (const auto pts = ReadPts({inPacket, kLookAhead})) {
        if (StartCodeAt(inPacket) == kVideoStreamCode) {
            mState.pendingPts = *pts;
        } else {
            mState.audioPts.push_back(*pts);
        }
    }
    return PesHeaderSize(inPacket);
}

}  // namespace Vexmora
