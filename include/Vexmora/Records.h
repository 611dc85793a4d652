// The fixed records of the interface and of the index file: one per picture position, one per file, and the
// runs of the audio alignment plan. All are packed and little-endian when stored.
//
// An index file is an IndexHeader and, right behind it, its recordCount FrameRecords: 88 + 18 x recordCount
// bytes, nothing between them and nothing behind. The records are in display order; position n of them is
// display index n, in which all of the interface counts. A picture is decoded with those that it is predicted
// from:
//
//     I pictures   by themselves
//     P pictures   n + pastRefDelta
//     B pictures   n + pastRefDelta and n + futureRefDelta
//
// Vexmora_GetFrameDependancies says the same, and finds another picture where one of these is a hole.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "Vexmora/Guid.h"

static_assert(std::endian::native == std::endian::little, "the stored records are the records in memory");

namespace Vexmora {

/// One picture position in display order. A position that no picture filled (a hole: the temporal references
/// leave a gap, or the picture was lost) is all zero. A record is valid when its picture_coding_type and its
/// size are not 0; see IsValid.
#pragma pack(push, 1)
struct FrameRecord {
    /// Stream position to read from: of the picture's start code (elementary stream), of the video PES packet
    /// (program stream) or of the transport packet (transport stream) in which that start code begins.
    std::uint64_t offset;
    /// Bytes from offset to the next picture start code, or to the end of the stream: in a program or
    /// transport stream with the headers and the other packets between. At most maxPictureSize of the header.
    std::uint32_t size;
    /// Facts of the picture's header and coding extension; see the k…Bit constants and functions below.
    std::uint16_t flags;
    /// Always 0; an index with anything else here is none that the library wrote.
    std::uint16_t reserved;
    /// Display index of the reference that is displayed before (past) or behind (future) minus this record's;
    /// 0 when there is none. B pictures in front of the first anchor of a stream have twice the same one.
    /// At most 127 away: a stream with others is not indexed. In a damaged file they may point outside of the
    /// records.
    std::int8_t pastRefDelta;
    std::int8_t futureRefDelta;

    friend bool operator==(const FrameRecord&, const FrameRecord&) = default;
};

/// The per-file summary: the first 88 bytes of an index file. A stream that cannot be indexed has one, too,
/// with streamKind kStreamKindFailed and no records: it is not scanned again.
struct IndexHeader {
    /// Identity of the media file that the index belongs to, as the host gives it; zero from a buffer
    /// indexer.
    Pavlin::utility::Guid identity;
    /// Always kIndexVersion.
    std::uint32_t version;
    /// Number of FrameRecords, holes included.
    std::uint32_t recordCount;
    /// Display index of the first and of the last frame that a host may use: without holes and pictures of
    /// broken links at the start, the B pictures before the first I picture of a transport stream whose first
    /// group is open, and what misses a reference at the end.
    std::uint32_t firstFrame;
    std::uint32_t lastFrame;
    /// Bytes of the whole stream.
    std::uint64_t streamLength;
    /// One of the kStreamKind… constants.
    std::uint32_t streamKind;
    /// Frames per second times 1000 after 3:2 pulldown was detected: 23976 for film that the sequence header
    /// plays at 29970.
    std::uint32_t effectiveFrameRate;
    /// The largest size of any record, bytes: how much a reader must have room for.
    std::uint32_t maxPictureSize;
    /// video_format | colour_primaries << 3 | transfer_characteristics << 6 | matrix_coefficients << 10
    /// | picture_structure << 15 | one of the kFieldOrder… codes (ISO/IEC 13818-2, 6.3.6 and 6.3.10); without
    /// a sequence display extension video_format is 5 and the colour codes are 2: unspecified.
    std::uint32_t formatWord;
    /// Coded size, samples and lines.
    std::uint16_t width;
    std::uint16_t height;
    /// Size in the sequence display extension; 0 when there is none.
    std::uint16_t displayWidth;
    std::uint16_t displayHeight;
    /// aspect_ratio_information (ISO/IEC 13818-2, table 6-3).
    std::uint32_t aspectRatioCode;
    /// 0 in every index that the library writes.
    std::uint64_t reserved68;
    std::uint32_t reserved76;
    std::uint32_t reserved80;
    std::uint32_t reserved84;

    friend bool operator==(const IndexHeader&, const IndexHeader&) = default;
};

/// One stretch of the time line of a stream with audio, in 90 kHz ticks. Neighbouring runs differ in kind.
struct AudioAlignmentRun {
    std::uint32_t duration;
    /// One of the kRun… constants.
    std::uint32_t kind;

    friend bool operator==(const AudioAlignmentRun&, const AudioAlignmentRun&) = default;
};
#pragma pack(pop)

/// FrameRecord::flags: temporal_reference in the lower ten bits, then progressive_frame, top_field_first and
/// repeat_first_field of the picture coding extension, picture_coding_type in two bits, and broken_link of
/// the group of pictures header in force.
inline constexpr std::uint16_t kTemporalReferenceMask = 0x03FF;
inline constexpr std::uint16_t kProgressiveFrameBit = 1 << 10;
inline constexpr std::uint16_t kTopFieldFirstBit = 1 << 11;
inline constexpr std::uint16_t kRepeatFirstFieldBit = 1 << 12;
inline constexpr int kPictureCodingTypeShift = 13;
inline constexpr std::uint16_t kPictureCodingTypeMask = 3 << kPictureCodingTypeShift;
inline constexpr std::uint16_t kBrokenLinkBit = 1 << 15;

/// picture_coding_type (ISO/IEC 13818-2, table 6-12); 0 is a hole.
inline constexpr unsigned kPictureTypeI = 1;
inline constexpr unsigned kPictureTypeP = 2;
inline constexpr unsigned kPictureTypeB = 3;

/// IndexHeader::version: the layout of these records. Any other is not read.
inline constexpr std::uint32_t kIndexVersion = 28;
/// IndexHeader::streamKind: how the video is packaged, or that there is no index.
inline constexpr std::uint32_t kStreamKindProgram = 0;
inline constexpr std::uint32_t kStreamKindElementary = 1;
inline constexpr std::uint32_t kStreamKindTransport = 4;
inline constexpr std::uint32_t kStreamKindFailed = 0x80000000;
/// The field-order code within IndexHeader::formatWord, under kFieldOrderMask.
inline constexpr std::uint32_t kFieldOrderProgressive = 0;
inline constexpr std::uint32_t kFieldOrderBottomFirst = 0x20000;
inline constexpr std::uint32_t kFieldOrderTopFirst = 0x40000;
inline constexpr std::uint32_t kFieldOrderMixed = 0x60000;
inline constexpr std::uint32_t kFieldOrderMask = 0x60000;

/// AudioAlignmentRun::kind: audio and video both present, audio alone, video alone.
inline constexpr std::uint32_t kRunBoth = 1;
inline constexpr std::uint32_t kRunAudioOnly = 2;
inline constexpr std::uint32_t kRunVideoOnly = 3;

/// The picture_coding_type of a record: 0 none (hole), 1 I, 2 P, 3 B.
constexpr unsigned PictureCodingType(const FrameRecord& inRecord) {
    return (inRecord.flags & kPictureCodingTypeMask) >> kPictureCodingTypeShift;
}
/// The temporal_reference of a record, 0 to 1023.
constexpr unsigned TemporalReference(const FrameRecord& inRecord) {
    return inRecord.flags & kTemporalReferenceMask;
}
/// Whether a picture can be decoded from this record.
constexpr bool IsValid(const FrameRecord& inRecord) {
    return PictureCodingType(inRecord) != 0 && inRecord.size > 0;
}

static_assert(sizeof(FrameRecord) == 18);
static_assert(offsetof(FrameRecord, offset) == 0 && offsetof(FrameRecord, size) == 8);
static_assert(offsetof(FrameRecord, flags) == 12 && offsetof(FrameRecord, reserved) == 14);
static_assert(offsetof(FrameRecord, pastRefDelta) == 16 && offsetof(FrameRecord, futureRefDelta) == 17);

static_assert(sizeof(IndexHeader) == 88);
static_assert(offsetof(IndexHeader, identity) == 0 && offsetof(IndexHeader, version) == 16);
static_assert(offsetof(IndexHeader, recordCount) == 20 && offsetof(IndexHeader, firstFrame) == 24);
static_assert(offsetof(IndexHeader, lastFrame) == 28 && offsetof(IndexHeader, streamLength) == 32);
static_assert(offsetof(IndexHeader, streamKind) == 40 && offsetof(IndexHeader, effectiveFrameRate) == 44);
static_assert(offsetof(IndexHeader, maxPictureSize) == 48 && offsetof(IndexHeader, formatWord) == 52);
static_assert(offsetof(IndexHeader, width) == 56 && offsetof(IndexHeader, height) == 58);
static_assert(offsetof(IndexHeader, displayWidth) == 60 && offsetof(IndexHeader, displayHeight) == 62);
static_assert(offsetof(IndexHeader, aspectRatioCode) == 64 && offsetof(IndexHeader, reserved68) == 68);
static_assert(offsetof(IndexHeader, reserved76) == 76 && offsetof(IndexHeader, reserved80) == 80);
static_assert(offsetof(IndexHeader, reserved84) == 84);

static_assert(sizeof(AudioAlignmentRun) == 8);
static_assert(offsetof(AudioAlignmentRun, duration) == 0 && offsetof(AudioAlignmentRun, kind) == 4);

}  // namespace Vexmora
