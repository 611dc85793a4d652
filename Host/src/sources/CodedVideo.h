// What a scan of a video stream finds: its pictures in coded order, and the sequence parameters in force for
// them.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VexmoraHost/Details.h"

namespace VexmoraHost {

inline constexpr std::uint32_t kNoTimeCode = 0xFFFFFFFF;

/// One frame as it is coded: a frame picture, or one or two field pictures. Stored as it is; no padding.
struct CodedFrame {
    /// Position of the packet in which the (first) picture start code begins, see VideoPiece::position.
    std::uint64_t position = 0;
    /// presentation_time_stamp, 90 kHz; kNoTime where the stream has none for it.
    std::int64_t pts = kNoTime;
    /// Bytes of the video in that packet before the picture start code.
    std::uint32_t skip = 0;
    /// Bytes of the video from the picture start code up to the next picture, group of pictures, sequence
    /// header or sequence end code, or to the end. With two fields: of both, and whatever headers lie between
    /// them.
    std::uint32_t size = 0;
    /// From the first field's picture start code to the second's; 0 without a second field.
    std::uint32_t secondField = 0;
    /// Bits 0 to 24 of the group of pictures header right before, as in the stream (drop_frame_flag first);
    /// kNoTimeCode where there is none.
    std::uint32_t timeCode = kNoTimeCode;
    /// Of CodedVideo::parameters: in force in front of the picture, matrices included.
    std::uint32_t parameters = 0;
    /// temporal_reference << 6 | picture_coding_type << 3, of the first field.
    std::uint16_t header = 0;
    /// picture_structure of the first field in bits 0 and 1, then the k…Flag below; picture_coding_type of
    /// the second field from bit 12 on.
    std::uint16_t flags = 0;

    friend bool operator==(const CodedFrame&, const CodedFrame&) = default;

    unsigned TemporalReference() const { return header >> 6; }
    unsigned PictureCodingType() const { return (header >> 3) & 7u; }
    unsigned SecondFieldType() const { return (flags >> 12) & 7u; }
    bool IsFieldPair() const { return secondField != 0; }
    bool IsField() const { return (flags & 3) != 3; }
};
static_assert(sizeof(CodedFrame) == 40);

inline constexpr std::uint16_t kTopFieldFirstFlag = 1 << 2;
inline constexpr std::uint16_t kRepeatFirstFieldFlag = 1 << 3;
inline constexpr std::uint16_t kProgressiveFrameFlag = 1 << 4;
/// A group of pictures header lies between the picture before and this one, and its two flags.
inline constexpr std::uint16_t kGroupFlag = 1 << 5;
inline constexpr std::uint16_t kClosedGroupFlag = 1 << 6;
inline constexpr std::uint16_t kBrokenLinkFlag = 1 << 7;
/// A sequence header lies between the picture before and this one.
inline constexpr std::uint16_t kSequenceFlag = 1 << 8;
/// A sequence end code lies between the picture before and this one.
inline constexpr std::uint16_t kSequenceEndFlag = 1 << 9;
/// The picture has no coding extension although the sequence is MPEG-2; its structure is taken for a frame's.
inline constexpr std::uint16_t kNoExtensionFlag = 1 << 10;
/// Video bytes may be missing in the picture or right before it.
inline constexpr std::uint16_t kAfterLossFlag = 1 << 11;

/// The sequence header that governs a picture, in a form that is complete in itself.
struct SequenceParameterSet {
    /// sequence_header(), sequence_extension() and, where the stream has one, sequence_display_extension(),
    /// start codes included. The header loads the matrices that are in force: with those of the quantiser
    /// matrix extensions since (ISO/IEC 13818-2, 6.3.11; in 4:2:0 chroma uses the same).
    std::vector<std::uint8_t> bytes;
    /// Coded size, samples and lines, with the bits of the extension.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// Of the display extension; 0 without.
    std::uint32_t displayWidth = 0;
    std::uint32_t displayHeight = 0;
    std::uint8_t aspectRatioCode = 0;
    std::uint8_t frameRateCode = 0;
    std::uint8_t frameRateExtensionN = 0;
    std::uint8_t frameRateExtensionD = 0;
    /// chroma_format: 1 is 4:2:0. 0 without a sequence extension: MPEG-1.
    std::uint8_t chromaFormat = 0;
    bool isProgressive = false;
    /// video_format, colour_primaries, transfer_characteristics, matrix_coefficients; 5, 2, 2, 2 where not
    /// told.
    std::array<std::uint8_t, 4> colour{5, 2, 2, 2};

    friend bool operator==(const SequenceParameterSet&, const SequenceParameterSet&) = default;
};

/// A scanned video stream.
struct CodedVideo {
    std::vector<CodedFrame> frames;
    std::vector<SequenceParameterSet> parameters;

    friend bool operator==(const CodedVideo&, const CodedVideo&) = default;
};

}  // namespace VexmoraHost
