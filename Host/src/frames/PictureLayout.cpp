// The layout that the library gives the planes at each scale.
#include "frames/PictureLayout.h"

#include <algorithm>

namespace VexmoraHost {
namespace {

constexpr std::uint32_t RoundUpTo128(std::uint32_t inBytes) {
    return (inBytes + 127) / 128 * 128;
}

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
    const std::uint32_t widthDivisor = inScale == Scale::Full ? 1 : 2;
    const std::uint32_t heightDivisor = inScale == Scale::Quarter ? 2 : 1;
    PictureLayout layout{};
    layout.scale = inScale;
    layout.width = std::max(1U, inInfo.width / widthDivisor);
    layout.height = std::max(1U, inInfo.height / heightDivisor);
    layout.lumaStride = RoundUpTo128(inInfo.pitch / widthDivisor);
    layout.chromaStride = RoundUpTo128(inInfo.pitch / widthDivisor / 2);
    layout.macroblockWidth = 16 / widthDivisor;
    layout.macroblockHeight = 16 / heightDivisor;
    layout.columns = (inInfo.width + 15) / 16;
    layout.rows = (inInfo.height + 15) / 16;
    layout.codedRows = (inInfo.height + 31) / 32 * 2;
    const std::size_t lines = std::size_t{layout.codedRows} * layout.macroblockHeight;
    // Reduced pictures have the same rows of macroblocks as full ones, each of fewer samples.
    const PlaneBytes least = inScale == Scale::Full ? inLeast : PlaneBytes{};
    const std::size_t luma = std::max<std::size_t>(layout.lumaStride * lines, least.luma);
    const std::size_t chroma = std::max<std::size_t>(layout.chromaStride * lines / 2, least.chroma);
    layout.cbOffset = RoundUpTo64(luma);
    layout.crOffset = layout.cbOffset + RoundUpTo64(chroma);
    layout.bytes = layout.crOffset + chroma;
    return layout;
}

Vexmora::FramePlanes PlanesIn(std::uint8_t* inBlock, const PictureLayout& inLayout) {
    return {{inBlock, inBlock + inLayout.cbOffset, inBlock + inLayout.crOffset}};
}

void ShowPlanes(const Vexmora::FramePlanes& inPlanes, const PictureLayout& inLayout, Picture& outPicture) {
    const std::uint32_t chromaWidth = (inLayout.width + 1) / 2;
    const std::uint32_t chromaHeight = (inLayout.height + 1) / 2;
    outPicture.luma = {inPlanes.planes[0], inLayout.width, inLayout.height, inLayout.lumaStride};
    outPicture.cb = {inPlanes.planes[1], chromaWidth, chromaHeight, inLayout.chromaStride};
    outPicture.cr = {inPlanes.planes[2], chromaWidth, chromaHeight, inLayout.chromaStride};
    outPicture.scale = inLayout.scale;
    outPicture.macroblocks = inLayout.Macroblocks();
}

}  // namespace VexmoraHost
