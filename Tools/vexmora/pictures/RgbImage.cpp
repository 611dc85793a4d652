// Conversion to screen colours and scaling, by zimg.
#include "pictures/RgbImage.h"

#include <zimg.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace VexmoraCommand {

namespace {

struct Free {
    void operator()(void* inBytes) const { std::free(inBytes); }
};

// Bytes as zimg wants them.
class Block {
  public:
    explicit Block(std::size_t inBytes)
        : mBytes(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, Aligned(inBytes)))) {
        if (mBytes == nullptr) throw std::bad_alloc();
    }
    // At least 1, so that there is always an address.
    static std::size_t Aligned(std::size_t inBytes) {
        return std::max<std::size_t>(1, (inBytes + kAlignment - 1) / kAlignment) * kAlignment;
    }
    std::uint8_t* Bytes() const { return mBytes.get(); }

  private:
    static constexpr std::size_t kAlignment = 64;

    std::unique_ptr<std::uint8_t, Free> mBytes;
};

// A plane as zimg wants it.
struct AlignedPlane {
    AlignedPlane(std::uint32_t inWidth, std::uint32_t inHeight)
        : stride(static_cast<std::ptrdiff_t>(Block::Aligned(inWidth))),
          samples(Block::Aligned(inWidth) * inHeight) {}

    std::uint8_t* Row(std::uint32_t inLine) const { return samples.Bytes() + inLine * stride; }

    std::ptrdiff_t stride;  // bytes
    Block samples;
};
using Planes = std::array<AlignedPlane, 3>;

// All lines of a picture, or those of one field.
struct Lines {
    std::uint32_t first;
    std::uint32_t step;
    zimg_field_parity_e parity;

    std::uint32_t CountOf(std::uint32_t inHeight) const { return (inHeight - first + step - 1) / step; }
};
constexpr Lines kAllLines = {0, 1, ZIMG_FIELD_PROGRESSIVE};
constexpr Lines kTopField = {0, 2, ZIMG_FIELD_TOP};
constexpr Lines kBottomField = {1, 2, ZIMG_FIELD_BOTTOM};

// The lines in inWidth by inHeight samples: those beyond the plane repeat its edge.
AlignedPlane Gather(const VexmoraHost::Plane& inPlane, const Lines& inLines, std::uint32_t inWidth,
                    std::uint32_t inHeight) {
    AlignedPlane plane(inWidth, inHeight);
    const std::uint32_t last = inLines.CountOf(inPlane.height) - 1;
    const std::uint32_t columns = std::min(inWidth, inPlane.width);
    for (std::uint32_t line = 0; line < inHeight; ++line) {
        const std::uint32_t from = inLines.first + std::min(line, last) * inLines.step;
        std::uint8_t* const row = plane.Row(line);
        std::memcpy(row, inPlane.samples + std::size_t{from} * inPlane.stride, columns);
        std::memset(row + columns, row[columns - 1], inWidth - columns);
    }
    return plane;
}

zimg_image_format FormatOf(std::uint32_t inWidth, std::uint32_t inHeight, const Lines& inLines) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = inWidth;
    format.height = inHeight;
    format.pixel_type = ZIMG_PIXEL_BYTE;
    format.field_parity = inLines.parity;
    return format;
}

// Chroma samples lie where ISO/IEC 13818-2, 6.1.1.8 puts them, each for a whole pair of columns and of
// lines: the format is that of whole pairs, of which the picture takes what it has.
zimg_image_format SourceFormat(const VexmoraHost::Plane& inLuma, ColourMatrix inMatrix,
                               const Lines& inLines) {
    const std::uint32_t height = inLines.CountOf(inLuma.height);
    zimg_image_format format = FormatOf(inLuma.width + inLuma.width % 2, height + height % 2, inLines);
    format.subsample_w = format.subsample_h = 1;
    format.color_family = ZIMG_COLOR_YUV;
    format.matrix_coefficients = inMatrix == ColourMatrix::Bt709 ? ZIMG_MATRIX_BT709 : ZIMG_MATRIX_ST170_M;
    format.pixel_range = ZIMG_RANGE_LIMITED;
    format.chroma_location = ZIMG_CHROMA_LEFT;
    format.active_region = {0, 0, static_cast<double>(inLuma.width), static_cast<double>(height)};
    return format;
}

zimg_image_format TargetFormat(const RgbImage& inImage, const Lines& inLines) {
    zimg_image_format format = FormatOf(inImage.width, inLines.CountOf(inImage.height), inLines);
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

void Check(bool inIsDone) {
    if (inIsDone) return;
    std::array<char, 256> text{};
    if (zimg_get_last_error(text.data(), text.size()) == ZIMG_ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw std::runtime_error(text.data());
}

// zimg's steps from one format to another.
class Graph {
  public:
    Graph(const zimg_image_format& inSource, const zimg_image_format& inTarget)
        : mGraph(zimg_filter_graph_build(&inSource, &inTarget, nullptr), zimg_filter_graph_free) {
        Check(mGraph != nullptr);
    }

    void Run(const Planes& inSource, const Planes& outTarget) const {
        zimg_image_buffer_const source{.version = ZIMG_API_VERSION, .plane = {}};
        zimg_image_buffer target{.version = ZIMG_API_VERSION, .plane = {}};
        for (std::size_t i = 0; i < inSource.size(); ++i) {
            source.plane[i] = {inSource[i].Row(0), inSource[i].stride, ZIMG_BUFFER_MAX};
            target.plane[i] = {outTarget[i].Row(0), outTarget[i].stride, ZIMG_BUFFER_MAX};
        }
        std::size_t bytes = 0;
        Check(zimg_filter_graph_get_tmp_size(mGraph.get(), &bytes) == ZIMG_ERROR_SUCCESS);
        const Block temporary(bytes);
        Check(zimg_filter_graph_process(mGraph.get(), &source, &target, temporary.Bytes(), nullptr, nullptr,
                                        nullptr, nullptr) == ZIMG_ERROR_SUCCESS);
    }

  private:
    std::unique_ptr<zimg_filter_graph, void (*)(zimg_filter_graph*)> mGraph;
};

// Converts some lines of a picture to those of ioImage.
void Convert(const VexmoraHost::Picture& inPicture, ColourMatrix inMatrix, const Lines& inLines,
             RgbImage& ioImage) {
    const zimg_image_format source = SourceFormat(inPicture.luma, inMatrix, inLines);
    const zimg_image_format target = TargetFormat(ioImage, inLines);
    const Planes from = {Gather(inPicture.luma, inLines, source.width, source.height),
                         Gather(inPicture.cb, inLines, source.width / 2, source.height / 2),
                         Gather(inPicture.cr, inLines, source.width / 2, source.height / 2)};
    const Planes to = {AlignedPlane(target.width, target.height), AlignedPlane(target.width, target.height),
                       AlignedPlane(target.width, target.height)};
    Graph(source, target).Run(from, to);
    for (std::uint32_t line = 0; line < target.height; ++line) {
        std::uint8_t* sample = ioImage.At(0, inLines.first + line * inLines.step);
        for (std::uint32_t x = 0; x < target.width; ++x) {
            for (const AlignedPlane& plane : to) *sample++ = plane.Row(line)[x];
        }
    }
}

}  // namespace

RgbImage ToRgb(const VexmoraHost::Picture& inPicture, const Viewing& inViewing) {
    RgbImage image(inViewing.width, inViewing.height);
    if (inViewing.isInterlaced && image.height == inPicture.luma.height && inPicture.cb.height > 1) {
        Convert(inPicture, inViewing.matrix, kTopField, image);
        Convert(inPicture, inViewing.matrix, kBottomField, image);
    } else {
        Convert(inPicture, inViewing.matrix, kAllLines, image);
    }
    return image;
}

void FrameInRed(std::uint32_t inX, std::uint32_t inY, std::uint32_t inWidth, std::uint32_t inHeight,
                std::uint32_t inSize, RgbImage& ioCanvas) {
    constexpr std::array<std::uint8_t, RgbImage::kBytesPerSample> kRed{0xE0, 0x10, 0x10};
    const auto isAtEdge = [inSize](std::uint32_t inAt, std::uint32_t inLength) {
        return inAt < inSize || inAt + inSize >= inLength;
    };
    for (std::uint32_t y = 0; y < inHeight; ++y) {
        for (std::uint32_t x = 0; x < inWidth; ++x) {
            if (isAtEdge(x, inWidth) || isAtEdge(y, inHeight))
                std::copy(kRed.begin(), kRed.end(), ioCanvas.At(inX + x, inY + y));
        }
    }
}

void Paste(const RgbImage& inImage, std::uint32_t inX, std::uint32_t inY, RgbImage& ioCanvas) {
    for (std::uint32_t row = 0; row < inImage.height; ++row) {
        std::memcpy(ioCanvas.At(inX, inY + row), inImage.Row(row), inImage.RowBytes());
    }
}

}  // namespace VexmoraCommand
