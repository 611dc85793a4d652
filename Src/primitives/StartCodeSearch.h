// The search for MPEG start codes: their prefix, 00 00 01, and the code behind it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

/// Index of the first i < inPositions with 00 00 01 at inBytes[i], else inPositions. Reads inBytes[0] to
/// inBytes[inPositions + 1] and not one byte more.
std::size_t FindStartCodePrefix(const std::uint8_t* inBytes, std::size_t inPositions);

}  // namespace Vexmora
