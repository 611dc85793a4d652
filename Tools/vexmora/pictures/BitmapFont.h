// Numbers drawn into images.
#pragma once

#include <cstdint>
#include <string_view>

#include "pictures/RgbImage.h"

namespace VexmoraCommand {

/// Cells of the characters, in units of the size drawn at.
inline constexpr std::uint32_t kLetterWidth = 6;
inline constexpr std::uint32_t kLetterHeight = 7;

/// Draws digits, ':', '.' and spaces in light grey, each dot inSize samples wide and high; other characters
/// leave a gap. What lies outside ioImage is left out.
void DrawText(std::string_view inText, std::uint32_t inX, std::uint32_t inY, std::uint32_t inSize,
              RgbImage& ioImage);

}  // namespace VexmoraCommand
