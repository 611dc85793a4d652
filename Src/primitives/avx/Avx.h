// What processors with AVX do faster.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/Prediction.h"
#include "primitives/PrimitiveStatus.h"

namespace Vexmora {

struct CoefficientBlock;

PrimitiveStatus InverseDctToPixels_Avx(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                       std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Avx(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                          std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Avx(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                         std::ptrdiff_t inStepBytes);

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlock_Avx(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                 const PixelBlock& outPixels);
template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlockBidirectional_Avx(const ReferenceBlock& inFirst, const ReferenceBlock& inSecond,
                                              const ResidualBlock& inResidual, const PixelBlock& outPixels);

}  // namespace Vexmora
