// The start codes of video, and what an extension says it is.
#pragma once

#include <cstdint>

namespace VexmoraHost {

/// The byte behind the prefix (ISO/IEC 13818-2, table 6-1).
inline constexpr std::uint8_t kPictureStartCode = 0x00;
inline constexpr std::uint8_t kLastSliceStartCode = 0xAF;
inline constexpr std::uint8_t kUserDataStartCode = 0xB2;
inline constexpr std::uint8_t kSequenceHeaderCode = 0xB3;
inline constexpr std::uint8_t kExtensionStartCode = 0xB5;
inline constexpr std::uint8_t kSequenceEndCode = 0xB7;
inline constexpr std::uint8_t kGroupStartCode = 0xB8;

/// extension_start_code_identifier (table 6-2).
inline constexpr unsigned kSequenceExtensionId = 1;
inline constexpr unsigned kSequenceDisplayExtensionId = 2;
inline constexpr unsigned kQuantMatrixExtensionId = 3;
inline constexpr unsigned kPictureCodingExtensionId = 8;

}  // namespace VexmoraHost
