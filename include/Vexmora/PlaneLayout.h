// Where the samples of a decoded picture lie in the host's planes, at each of the three sizes.
//
// A picture has three planes (Y, Cb, Cr) of one byte a sample; chroma is half as wide and half as high as
// luma. The rows of a plane follow one another, `pitch` bytes from the start of one to the start of the next:
//
//     |<------------------ pitch ------------------>|
//     |<-------- width -------->|                   |
//     +-------------------------+-------------------+ ---
//     | visible samples         | rest of the last  |  ^ height
//     |                         | macroblocks, and  |  |
//     |                         | padding up to a   |  v
//     +-------------------------+ multiple of 128   | ---
//     | rest of the last rows of macroblocks        |
//     +---------------------------------------------+ --- bytes = pitch x (16, 8 or 4 lines a macroblock row)
//
// Each pitch is rounded up by itself, the chroma pitch after half of the luma pitch of full size was taken.
// So chroma rows are not always half as far apart as luma rows. For 544 x 576 (luma pitch 640 at full size):
//
//     size           luma       pitch   chroma     pitch
//     full           544 x 576   640    272 x 288   384   (640 / 2 = 320, rounded up)
//     half width     272 x 576   384    136 x 288   256   (640 / 4 = 160, rounded up)
//     quarter size   272 x 288   384    136 x 144   256
//
// What is not visible is written, too: the host gives planes of at least `lumaBytes` and `chromaBytes`.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Vexmora/FileInfo.h"

namespace Vexmora {

/// The size in which a picture is decoded.
enum class DecodeScale {
    Full,
    /// Half the width, all lines.
    HalfWidth,
    /// Half the width, half the lines.
    Quarter,
};

/// What inDecodeMode and inDecodeSubMode of Vexmora_GetFrame ask for: mode 0 is full size; else submode 1 is
/// quarter size, any other half width.
constexpr DecodeScale ToDecodeScale(std::uint32_t inDecodeMode, std::uint32_t inDecodeSubMode) {
    if (inDecodeMode == 0) return DecodeScale::Full;
    return inDecodeSubMode == 1 ? DecodeScale::Quarter : DecodeScale::HalfWidth;
}

/// Bytes from one row of a plane to the next.
struct PlanePitches {
    std::uint32_t luma;
    std::uint32_t chroma;
};

/// Rows are padded to multiples of 128 bytes.
constexpr std::uint32_t PaddedPitch(std::uint32_t inBytes) {
    return (inBytes + 127) / 128 * 128;
}

/// The pitches of a picture whose luma pitch at full size (FileInfo::pitch) is inPitch.
constexpr PlanePitches PitchesAt(DecodeScale inScale, std::uint32_t inPitch) {
    if (inScale == DecodeScale::Full) return {PaddedPitch(inPitch), PaddedPitch(inPitch / 2)};
    return {PaddedPitch(inPitch / 2), PaddedPitch(inPitch / 4)};
}

/// The planes of a picture at one size. Sizes in samples and lines, pitches in bytes.
struct PlaneLayout {
    /// The visible part of the luma plane: half of what is coded where the size is reduced, without the rest,
    /// but at least 1.
    std::uint32_t width;
    std::uint32_t height;
    /// The visible part of each chroma plane: half of luma's, rounded up.
    std::uint32_t chromaWidth;
    std::uint32_t chromaHeight;
    PlanePitches pitches;
    /// A macroblock in luma, 16 x 16 at full size; in chroma it has half of both.
    std::uint32_t macroblockWidth;
    std::uint32_t macroblockHeight;
    /// Columns and rows of macroblocks that reach into the visible picture.
    std::uint32_t columns;
    std::uint32_t rows;
    /// Rows that may be written: an interlaced sequence counts them for each field (ISO/IEC 13818-2, 6.3.3),
    /// and may have one more than is visible.
    std::uint32_t codedRows;
    /// Bytes that suffice for the luma plane and for each chroma plane. So do, at any size, those that
    /// Vexmora_GetFrameSizes gives for full size.
    std::size_t lumaBytes;
    std::size_t chromaBytes;
};

/// The planes of pictures of inWidth x inHeight (as coded: FileInfo::width and height).
constexpr PlaneLayout PlaneLayoutOf(std::uint32_t inWidth, std::uint32_t inHeight, DecodeScale inScale) {
    const std::uint32_t widthDivisor = inScale == DecodeScale::Full ? 1 : 2;
    const std::uint32_t heightDivisor = inScale == DecodeScale::Quarter ? 2 : 1;
    PlaneLayout layout{};
    layout.width = std::max(1U, inWidth / widthDivisor);
    layout.height = std::max(1U, inHeight / heightDivisor);
    layout.chromaWidth = (layout.width + 1) / 2;
    layout.chromaHeight = (layout.height + 1) / 2;
    layout.pitches = PitchesAt(inScale, PaddedPitch(inWidth));
    layout.macroblockWidth = 16 / widthDivisor;
    layout.macroblockHeight = 16 / heightDivisor;
    layout.columns = (inWidth + 15) / 16;
    layout.rows = (inHeight + 15) / 16;
    layout.codedRows = (inHeight + 31) / 32 * 2;
    const std::size_t lines = std::size_t{layout.codedRows} * layout.macroblockHeight;
    layout.lumaBytes = layout.pitches.luma * lines;
    layout.chromaBytes = layout.pitches.chroma * lines / 2;
    return layout;
}

/// The planes of the pictures of an opened source.
constexpr PlaneLayout PlaneLayoutOf(const FileInfo& inInfo, DecodeScale inScale = DecodeScale::Full) {
    return PlaneLayoutOf(inInfo.width, inInfo.height, inScale);
}

/// The colour of a macroblock in which an error was met, in every sample: a red that no camera sees. The host
/// may look for it to tell how much of a picture was decoded.
inline constexpr std::uint8_t kErrorLuma = 81;
inline constexpr std::uint8_t kErrorCb = 90;
inline constexpr std::uint8_t kErrorCr = 239;

static_assert(PitchesAt(DecodeScale::Full, 640).chroma == 384 &&
              PitchesAt(DecodeScale::Quarter, 640).luma == 384 &&
              PitchesAt(DecodeScale::HalfWidth, 640).chroma == 256);
static_assert(PitchesAt(DecodeScale::Full, 768).chroma == 384 &&
              PitchesAt(DecodeScale::HalfWidth, 768).luma == 384 &&
              PitchesAt(DecodeScale::Quarter, 768).chroma == 256);
static_assert(PitchesAt(DecodeScale::Full, 1920).chroma == 1024 &&
              PitchesAt(DecodeScale::HalfWidth, 1920).luma == 1024 &&
              PitchesAt(DecodeScale::Quarter, 1920).chroma == 512);

}  // namespace Vexmora
