// What processors with AVX2 and BMI2 do faster.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/BlockDecode.h"
#include "primitives/PrimitiveStatus.h"
#include "primitives/QuietPackets.h"

namespace Vexmora {

class BitWindow;

std::size_t FindStartCodePrefix_Avx2(const std::uint8_t* inBytes, std::size_t inPositions);
std::size_t FindCodeButSlices_Avx2(const std::uint8_t* inBytes, std::size_t inPositions);
QuietPackets PassQuietPackets_Avx2(const std::uint8_t* inPackets, std::size_t inCount,
                                   std::uint32_t inVideoPid);
void SwapWords_Avx2(std::uint8_t* ioBytes, std::size_t inWords);

PrimitiveStatus DecodeIntraBlocks_Avx2(BitWindow& ioBits, const IntraCoding& inCoding,
                                       std::array<std::int16_t, 3>& ioDcPredictors,
                                       CoefficientBlocks& outBlocks, std::size_t& outDecoded);
PrimitiveStatus DecodeNonIntraBlocks_Avx2(BitWindow& ioBits, const NonIntraCoding& inCoding,
                                          std::uint32_t inPattern, CoefficientBlocks& outBlocks,
                                          std::uint32_t& outDecoded);

PrimitiveStatus InverseDctToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                        std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                           std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Avx2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                          std::ptrdiff_t inStepBytes);

}  // namespace Vexmora
