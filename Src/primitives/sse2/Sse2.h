// What 64-bit x86 processors do faster with their baseline instructions, SSE2.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

std::size_t FindStartCodePrefix_Sse2(const std::uint8_t* inBytes, std::size_t inPositions);

}  // namespace Vexmora
