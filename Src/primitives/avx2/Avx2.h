// What processors with AVX2 and BMI2 do faster.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/PrimitiveStatus.h"

namespace Vexmora {

class BitWindow;
struct CoefficientBlock;
struct IntraBlockCoding;
struct NonIntraBlockCoding;

std::size_t FindStartCodePrefix_Avx2(const std::uint8_t* inBytes, std::size_t inPositions);
void SwapWords_Avx2(std::uint8_t* ioBytes, std::size_t inWords);

PrimitiveStatus DecodeIntraBlock_Avx2(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                      std::int16_t& ioDcPredictor, CoefficientBlock& outBlock);
PrimitiveStatus DecodeNonIntraBlock_Avx2(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                         CoefficientBlock& outBlock);

PrimitiveStatus InverseDctToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                        std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Avx2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                           std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Avx2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                          std::ptrdiff_t inStepBytes);

}  // namespace Vexmora
