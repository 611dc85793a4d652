// Where the samples and the macroblocks of a picture lie in its planes, at each scale.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Vexmora/PlaneLayout.h"
#include "VexmoraHost/Picture.h"

namespace VexmoraHost {

/// What inDecodeMode and inDecodeSubMode of Vexmora_GetFrame ask for.
struct DecodeModes {
    std::uint32_t mode;
    std::uint32_t subMode;
};
DecodeModes ModesOf(Scale inScale);

/// A sample of grey, in all planes: what is shown where nothing was decoded.
constexpr std::uint8_t kMidGrey = 128;

/// The planes Y, Cb, Cr of a picture in one block of memory.
struct PictureLayout : Vexmora::PlaneLayout {
    Scale scale;
    std::size_t cbOffset;
    std::size_t crOffset;
    std::size_t bytes;

    std::uint32_t Macroblocks() const { return columns * rows; }
};

/// The bytes that the library asks for, see Vexmora_GetFrameSizes.
struct PlaneBytes {
    std::uint32_t luma = 0;
    std::uint32_t chroma = 0;
};
PictureLayout LayoutOf(const Vexmora::FileInfo& inInfo, const PlaneBytes& inLeast, Scale inScale);

/// The planes in a block of memory of inLayout.bytes bytes.
Vexmora::FramePlanes PlanesIn(std::uint8_t* inBlock, const PictureLayout& inLayout);
/// Sets the views of a picture's planes.
void ShowPlanes(const Vexmora::FramePlanes& inPlanes, const PictureLayout& inLayout, Picture& outPicture);

}  // namespace VexmoraHost
