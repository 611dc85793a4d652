// The layout that the library gives the planes at each scale.
#include "frames/PictureLayout.h"

#include <algorithm>

namespace VexmoraHost {
namespace {

constexpr std::size_t RoundUpTo64(std::size_t inBytes) {
    return (inBytes + 63) / 64 * 64;
}

}  // namespace

DecodeModes ModesOf(Scale inScale) {
    switch (inScale) {
        case Scale::HalfWidth:
            return {1, 0};
        case Scale::Quarter:
            return {1, 1};
        default:
            return {0, 0};
    }
}

PictureLayout LayoutOf(const Vexmora::FileInfo& inInfo, const PlaneBytes& inLeast, Scale inScale) {
    const DecodeModes modes = ModesOf(inScale);
    PictureLayout layout{};
    static_cast<Vexmora::PlaneLayout&>(layout) =
        PlaneLayoutOf(inInfo, Vexmora::ToDecodeScale(modes.mode, modes.subMode));
    layout.scale = inScale;
    // Reduced pictures have the same rows of macroblocks as full ones, each of fewer samples.
    const PlaneBytes least = inScale == Scale::Full ? inLeast : PlaneBytes{};
    const std::size_t chroma = std::max<std::size_t>(layout.chromaBytes, least.chroma);
    layout.cbOffset = RoundUpTo64(std::max<std::size_t>(layout.lumaBytes, least.luma));
    layout.crOffset = layout.cbOffset + RoundUpTo64(chroma);
    layout.bytes = layout.crOffset + chroma;
    return layout;
}

Vexmora::FramePlanes PlanesIn(std::uint8_t* inBlock, const PictureLayout& inLayout) {
    return {{inBlock, inBlock + inLayout.cbOffset, inBlock + inLayout.crOffset}};
}

void ShowPlanes(const Vexmora::FramePlanes& inPlanes, const PictureLayout& inLayout, Picture& outPicture) {
    const auto chroma = [&](std::size_t inPlane) -> Plane {
        return {inPlanes.planes[inPlane], inLayout.chromaWidth, inLayout.chromaHeight,
                inLayout.pitches.chroma};
    };
    outPicture.luma = {inPlanes.planes[0], inLayout.width, inLayout.height, inLayout.pitches.luma};
    outPicture.cb = chroma(1);
    outPicture.cr = chroma(2);
    outPicture.scale = inLayout.scale;
    outPicture.macroblocks = inLayout.Macroblocks();
}

}  // namespace VexmoraHost
