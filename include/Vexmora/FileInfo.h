// What a host learns about an opened source, and how it names the planes of a picture.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// The facts of one opened source, filled by Vexmora_GetFileInfo.
struct FileInfo {
    /// Coded size, samples and lines.
    std::uint32_t width;
    std::uint32_t height;
    /// Frames that the host may address: lastFrame - firstFrame + 1 of the index header.
    std::uint32_t frameCount;
    /// Luma row pitch of a full-size picture, bytes: width rounded up to a multiple of 128.
    std::uint32_t pitch;
    /// 0 or 1: the first record's progressive_frame, or progressive_sequence when there is no such record.
    std::uint8_t progressive;
    /// Width of a displayed sample over its height; not written for reserved aspect codes.
    double pixelAspectRatio;
    /// Size of the sequence display extension, or of the picture when there is none.
    std::uint32_t displayWidth;
    std::uint32_t displayHeight;
    /// Seconds per frame.
    double framePeriod;
    /// Frames per second times 1000 after pulldown detection; 0 without an index.
    std::uint32_t effectiveFrameRate;
};

static_assert(offsetof(FileInfo, width) == 0 && offsetof(FileInfo, height) == 4);
static_assert(offsetof(FileInfo, frameCount) == 8 && offsetof(FileInfo, pitch) == 12);
static_assert(offsetof(FileInfo, progressive) == 16 && offsetof(FileInfo, pixelAspectRatio) == 24);
static_assert(offsetof(FileInfo, displayWidth) == 32 && offsetof(FileInfo, displayHeight) == 36);
static_assert(offsetof(FileInfo, framePeriod) == 40 && offsetof(FileInfo, effectiveFrameRate) == 48);
static_assert(sizeof(FileInfo) == 56);

/// The three planes of one 4:2:0 picture in host memory: Y, Cb, Cr. The host owns them; the library reads
/// reference pictures and writes output pictures, with row pitches that it computes itself.
struct FramePlanes {
    std::uint8_t* planes[3];
};

static_assert(sizeof(FramePlanes) == 24);

}  // namespace Vexmora
