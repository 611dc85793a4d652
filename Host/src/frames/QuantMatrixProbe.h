// Streams whose pictures bring quantiser matrices along.
#pragma once

#include <cstdint>
#include <filesystem>

namespace VexmoraHost {

/// Whether a quant_matrix_extension (ISO/IEC 13818-2, 6.2.3.2) lies in the 2 MiB of the file from inOffset
/// on, unless packets cut it in two. Its matrices stay in force for later pictures, so that these must be
/// decoded with the same handle. Throws Error when the file cannot be read, and std::bad_alloc.
bool HasPictureMatrices(const std::filesystem::path& inMedia, std::uint64_t inOffset);

}  // namespace VexmoraHost
