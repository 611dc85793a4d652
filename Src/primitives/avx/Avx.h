// What processors with AVX do faster.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/PrimitiveStatus.h"

namespace Vexmora {

struct CoefficientBlock;

PrimitiveStatus InverseDctToPixels_Avx(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                       std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Avx(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                          std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Avx(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                         std::ptrdiff_t inStepBytes);

}  // namespace Vexmora
