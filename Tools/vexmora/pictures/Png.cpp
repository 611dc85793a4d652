// PNG files by libpng.
#include "pictures/Png.h"

#include <png.h>

#include <memory>
#include <new>
#include <stdexcept>

namespace VexmoraCommand {

namespace {

// libpng lets exceptions pass through: it keeps nothing but what its write structure owns.
[[noreturn]] void ThrowError(png_structp /*inPng*/, png_const_charp inText) {
    throw std::runtime_error(inText);
}

void IgnoreWarning(png_structp /*inPng*/, png_const_charp /*inText*/) {}

void WriteBytes(png_structp inPng, png_bytep inData, std::size_t inBytes) {
    static_cast<OutputFile*>(png_get_io_ptr(inPng))->Write(inData, inBytes);
}

void Flush(png_structp /*inPng*/) {}

// The two structures of a write, freed together.
struct Writer {
    Writer() : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, ThrowError, IgnoreWarning)) {
        if (png != nullptr) info = png_create_info_struct(png);
        if (info == nullptr) {
            png_destroy_write_struct(&png, nullptr);
            throw std::bad_alloc();
        }
    }
    ~Writer() { png_destroy_write_struct(&png, &info); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    png_structp png;
    png_infop info = nullptr;
};

}  // namespace

void WritePng(const RgbImage& inImage, OutputFile& ioFile) {
    constexpr int kBitDepth = 8;
    constexpr int kFastCompression = 3;
    const Writer writer;
    png_set_write_fn(writer.png, &ioFile, WriteBytes, Flush);
    png_set_IHDR(writer.png, writer.info, inImage.width, inImage.height, kBitDepth, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(writer.png, kFastCompression);
    png_write_info(writer.png, writer.info);
    for (std::uint32_t row = 0; row < inImage.height; ++row) png_write_row(writer.png, inImage.Row(row));
    png_write_end(writer.png, writer.info);
}

}  // namespace VexmoraCommand
