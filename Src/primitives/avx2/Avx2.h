// What processors with AVX2 do faster.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

std::size_t FindStartCodePrefix_Avx2(const std::uint8_t* inBytes, std::size_t inPositions);
void SwapWords_Avx2(std::uint8_t* ioBytes, std::size_t inWords);

}  // namespace Vexmora
