// Whole coded pictures of independent decoders: with the samples beyond the visible ones, from which later
// pictures may be predicted.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Decoding/DecodeChain.h"
#include "Decoding/Mpeg2dec.h"

namespace Vexmora::Test {

/// Frame after frame, planar 4:2:0, in display order.
struct WholePictures {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Samples samples;

    /// inInfo of the visible picture with the size of the coded one.
    FileInfo Whole(FileInfo inInfo) const {
        inInfo.width = width;
        inInfo.height = height;
        return inInfo;
    }
    std::size_t FrameBytes() const { return std::size_t{width} * height * 3 / 2; }
    std::size_t FrameCount() const { return samples.size() / FrameBytes(); }
    const std::uint8_t* Frame(std::size_t inFrame) const { return samples.data() + inFrame * FrameBytes(); }
};

/// An elementary stream that declares the size that it is coded with: whole macroblocks, in an interlaced
/// sequence for each field (ISO/IEC 13818-2, 6.3.3), so that decoders show all they decode. It ends with a
/// sequence_end_code, without which one of them keeps its last pictures.
class DeclaredWhole {
  public:
    explicit DeclaredWhole(const std::filesystem::path& inMedia)
        : mPath(std::filesystem::temp_directory_path() /
                ("vexmora_whole_" + std::to_string(getpid()) + ".m2v")) {
        std::vector<std::uint8_t> bytes = ReadAll(inMedia);
        for (const std::uint8_t byte : kSequenceEndCode) bytes.push_back(byte);
        for (std::size_t at = 0; at + 12 <= bytes.size(); ++at) {
            if (IsCode(bytes, at, 0xB3)) Widen(bytes, at + 4);
        }
        WriteAll(mPath, bytes);
    }
    ~DeclaredWhole() { std::filesystem::remove(mPath); }
    DeclaredWhole(const DeclaredWhole&) = delete;
    DeclaredWhole& operator=(const DeclaredWhole&) = delete;

    const std::filesystem::path& Path() const { return mPath; }
    WholePictures ByMpeg2dec() const { return Whole(RunMpeg2dec(mPath, mWidth, mHeight)); }
    /// What a decoder showed of this stream.
    WholePictures Whole(const Samples& inSamples) const { return {mWidth, mHeight, inSamples}; }

  private:
    static constexpr std::array<std::uint8_t, 4> kSequenceEndCode{0, 0, 1, 0xB7};

    static bool IsCode(const std::vector<std::uint8_t>& inBytes, std::size_t inAt, unsigned inCode) {
        return inBytes[inAt] == 0 && inBytes[inAt + 1] == 0 && inBytes[inAt + 2] == 1 &&
               inBytes[inAt + 3] == inCode;
    }
    // inSize is the position of horizontal_size_value and vertical_size_value, 12 bits each.
    void Widen(std::vector<std::uint8_t>& ioBytes, std::size_t inSize) {
        std::size_t extension = inSize;
        while (extension + 6 < ioBytes.size() && !IsCode(ioBytes, extension, 0xB5)) ++extension;
        const bool isProgressive = (ioBytes[extension + 5] & 0x08) != 0;
        const auto rounded = [](unsigned inValue, unsigned inUnit) {
            return (inValue + inUnit - 1) / inUnit * inUnit;
        };
        std::uint8_t* const size = ioBytes.data() + inSize;
        mWidth = rounded(unsigned{size[0]} << 4 | size[1] >> 4, 16);
        mHeight = rounded((size[1] & 15u) << 8 | size[2], isProgressive ? 16 : 32);
        size[0] = static_cast<std::uint8_t>(mWidth >> 4);
        size[1] = static_cast<std::uint8_t>((mWidth & 15) << 4 | mHeight >> 8);
        size[2] = static_cast<std::uint8_t>(mHeight);
    }

    const std::filesystem::path mPath;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
};

}  // namespace Vexmora::Test
