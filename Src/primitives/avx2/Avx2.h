// What processors with AVX2 do faster.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/PrimitiveStatus.h"

namespace Vexmora {

struct CoefficientBlock;

std::size_t FindStartCodePrefix_Avx2(const std::uint8_t* inBytes, std::size_t inPositions);
void SwapWords_Avx2(std::uint8_t* ioBytes, std::size_t inWords);

PrimitiveStatus InverseDctToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                        std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                           std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Avx2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                          std::ptrdiff_t inStepBytes);

}  // namespace Vexmora
