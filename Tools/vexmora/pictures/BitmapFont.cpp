// A font of five by seven dots, of what numbers and times are made of.
#include "pictures/BitmapFont.h"

#include <algorithm>
#include <array>

namespace VexmoraCommand {

namespace {

constexpr std::uint32_t kDots = 5;
constexpr std::uint8_t kInk = 0xE0;

// Seven rows from the top; bit 4 is the leftmost dot.
using Glyph = std::array<std::uint8_t, kLetterHeight>;

constexpr std::array<Glyph, 10> kDigits = {{
    {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110},
    {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110},
    {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111},
    {0b11111, 0b00010, 0b00100, 0b00010, 0b00001, 0b10001, 0b01110},
    {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010},
    {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110},
    {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110},
    {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000},
    {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110},
    {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100},
}};
constexpr Glyph kColon = {0, 0b00100, 0b00100, 0, 0b00100, 0b00100, 0};
constexpr Glyph kPoint = {0, 0, 0, 0, 0, 0b01100, 0b01100};

Glyph GlyphOf(char inCharacter) {
    if (inCharacter >= '0' && inCharacter <= '9') return kDigits[static_cast<std::size_t>(inCharacter - '0')];
    if (inCharacter == ':') return kColon;
    return inCharacter == '.' ? kPoint : Glyph{};
}

void FillDot(std::uint32_t inX, std::uint32_t inY, std::uint32_t inSize, RgbImage& ioImage) {
    const std::uint32_t right = std::min(inX + inSize, ioImage.width);
    const std::uint32_t bottom = std::min(inY + inSize, ioImage.height);
    for (std::uint32_t y = inY; y < bottom; ++y) {
        for (std::uint32_t x = inX; x < right; ++x) std::fill_n(ioImage.At(x, y), 3, kInk);
    }
}

}  // namespace

void DrawText(std::string_view inText, std::uint32_t inX, std::uint32_t inY, std::uint32_t inSize,
              RgbImage& ioImage) {
    for (const char character : inText) {
        const Glyph glyph = GlyphOf(character);
        for (std::uint32_t row = 0; row < kLetterHeight; ++row) {
            for (std::uint32_t dot = 0; dot < kDots; ++dot) {
                if ((glyph[row] >> (kDots - 1 - dot) & 1) == 0) continue;
                FillDot(inX + dot * inSize, inY + row * inSize, inSize, ioImage);
            }
        }
        inX += kLetterWidth * inSize;
    }
}

}  // namespace VexmoraCommand
