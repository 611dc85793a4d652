// What a host learns about an opened source, and how it names the planes of a picture.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// The facts of one opened source, filled by Vexmora_GetFileInfo: those of the first sequence header with its
/// extensions (ISO/IEC 13818-2, 6.2.2), and two of the index. Set it to zero first: the library leaves a
/// field alone where the stream says nothing.
struct FileInfo {
    /// Coded size in samples and lines, 1 to 4095. Not a multiple of 16: decoded pictures are larger, see
    /// PlaneLayoutOf for the planes that they take.
    std::uint32_t width;
    std::uint32_t height;
    /// Frames that the host may address: lastFrame - firstFrame + 1 of the index header. Display index
    /// firstFrame + n is frame n. 1 without an index.
    std::uint32_t frameCount;
    /// Bytes from one luma row to the next in a full-size picture: width rounded up to a multiple of 128. The
    /// other pitches follow from it, see PitchesAt.
    std::uint32_t pitch;
    /// 0 or 1: the first record's progressive_frame, or progressive_sequence when there is no such record.
    std::uint8_t progressive;
    /// Width of a displayed sample over its height, from aspect_ratio_information and the coded size. Not
    /// written for reserved codes.
    double pixelAspectRatio;
    /// Samples and lines that are meant to be shown: those of the sequence display extension, or the coded
    /// size when there is none. May be larger than the coded size.
    std::uint32_t displayWidth;
    std::uint32_t displayHeight;
    /// Seconds from one frame to the next as the sequence header has them, before pulldown: 1001.0 / 30000 of
    /// film in an NTSC stream that repeats fields.
    double framePeriod;
    /// Frames per second times 1000 as they were recorded, after pulldown was detected: 23976 of that film. 0
    /// without an index.
    std::uint32_t effectiveFrameRate;
};

static_assert(offsetof(FileInfo, width) == 0 && offsetof(FileInfo, height) == 4);
static_assert(offsetof(FileInfo, frameCount) == 8 && offsetof(FileInfo, pitch) == 12);
static_assert(offsetof(FileInfo, progressive) == 16 && offsetof(FileInfo, pixelAspectRatio) == 24);
static_assert(offsetof(FileInfo, displayWidth) == 32 && offsetof(FileInfo, displayHeight) == 36);
static_assert(offsetof(FileInfo, framePeriod) == 40 && offsetof(FileInfo, effectiveFrameRate) == 48);
static_assert(sizeof(FileInfo) == 56);

/// The addresses of the three planes of one 4:2:0 picture in host memory: Y, Cb, Cr. Null planes stand for a
/// reference that is not there. The host owns the memory, of any alignment; the library reads references and
/// writes output while the call lasts, and keeps nothing. Sizes: Vexmora_GetFrameSizes or PlaneLayoutOf,
/// whose description also says where in the planes the samples are.
struct FramePlanes {
    std::uint8_t* planes[3];
};

static_assert(sizeof(FramePlanes) == 24);

}  // namespace Vexmora
