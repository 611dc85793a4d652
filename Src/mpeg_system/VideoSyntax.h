// Values in the headers of MPEG-2 video that indexing and decoding both tell apart (ISO/IEC 13818-2, 6.3).
#pragma once

#include <cstdint>

namespace Vexmora {

/// extension_start_code_identifier (table 6-2).
inline constexpr std::uint32_t kSequenceExtensionId = 1;
inline constexpr std::uint32_t kSequenceDisplayExtensionId = 2;
inline constexpr std::uint32_t kQuantMatrixExtensionId = 3;
inline constexpr std::uint32_t kPictureCodingExtensionId = 8;

/// picture_structure (table 6-14).
inline constexpr std::uint32_t kTopField = 1;
inline constexpr std::uint32_t kBottomField = 2;
inline constexpr std::uint32_t kFramePicture = 3;

}  // namespace Vexmora
