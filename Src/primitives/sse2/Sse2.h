// What 64-bit x86 processors do faster with their baseline instructions, SSE2.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/Prediction.h"
#include "primitives/PrimitiveStatus.h"
#include "primitives/QuietPackets.h"

namespace Vexmora {

struct CoefficientBlock;

std::size_t FindStartCodePrefix_Sse2(const std::uint8_t* inBytes, std::size_t inPositions);
std::size_t FindCodeButSlices_Sse2(const std::uint8_t* inBytes, std::size_t inPositions);
QuietPackets PassQuietPackets_Sse2(const std::uint8_t* inPackets, std::size_t inCount,
                                   std::uint32_t inVideoPid);

PrimitiveStatus InverseDctToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                        std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                           std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Sse2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                          std::ptrdiff_t inStepBytes);

PrimitiveStatus ReducedIdctToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                         std::ptrdiff_t inStep);
PrimitiveStatus ReducedIdctAddToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                            std::ptrdiff_t inStep);
PrimitiveStatus ReducedIdctToResidual_Sse2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                           std::ptrdiff_t inStepBytes);
PrimitiveStatus QuarterIdctToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                         std::ptrdiff_t inStep);
PrimitiveStatus QuarterIdctAddToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                            std::ptrdiff_t inStep);
PrimitiveStatus QuarterIdctToResidual_Sse2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                           std::ptrdiff_t inStepBytes);

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlock_Sse2(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                  const PixelBlock& outPixels);
template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlockBidirectional_Sse2(const ReferenceBlock& inFirst, const ReferenceBlock& inSecond,
                                               const ResidualBlock& inResidual, const PixelBlock& outPixels);

}  // namespace Vexmora
