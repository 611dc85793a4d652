// The plain implementation of every primitive, for any processor. What each does is said at its table entry.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/BlockDecode.h"
#include "primitives/PrimitiveStatus.h"
#include "primitives/QuietPackets.h"

namespace Vexmora {

class BitWindow;
struct PixelBlock;
struct ReferenceBlock;
struct ResidualBlock;

std::size_t FindStartCodePrefix_Portable(const std::uint8_t* inBytes, std::size_t inPositions);
std::size_t FindCodeButSlices_Portable(const std::uint8_t* inBytes, std::size_t inPositions);
QuietPackets PassQuietPackets_Portable(const std::uint8_t* inPackets, std::size_t inCount,
                                       std::uint32_t inVideoPid);
void SwapWords_Portable(std::uint8_t* ioBytes, std::size_t inWords);

PrimitiveStatus DecodeIntraBlocks_Portable(BitWindow& ioBits, const IntraCoding& inCoding,
                                           std::array<std::int16_t, 3>& ioDcPredictors,
                                           CoefficientBlocks& outBlocks, std::size_t& outDecoded);
PrimitiveStatus DecodeNonIntraBlocks_Portable(BitWindow& ioBits, const NonIntraCoding& inCoding,
                                              std::uint32_t inPattern, CoefficientBlocks& outBlocks,
                                              std::uint32_t& outDecoded);
PrimitiveStatus DecodeIntraBlock_Portable(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                          std::int16_t& ioDcPredictor, CoefficientBlock& outBlock);
PrimitiveStatus DecodeNonIntraBlock_Portable(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                             CoefficientBlock& outBlock);

PrimitiveStatus InverseDctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                            std::ptrdiff_t inStep);
PrimitiveStatus InverseDctAddToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                               std::ptrdiff_t inStep);
PrimitiveStatus InverseDctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                              std::ptrdiff_t inStepBytes);
PrimitiveStatus ReducedIdctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                             std::ptrdiff_t inStep);
PrimitiveStatus ReducedIdctAddToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                                std::ptrdiff_t inStep);
PrimitiveStatus ReducedIdctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                               std::ptrdiff_t inStepBytes);
PrimitiveStatus QuarterIdctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                             std::ptrdiff_t inStep);
PrimitiveStatus QuarterIdctAddToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                                std::ptrdiff_t inStep);
PrimitiveStatus QuarterIdctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                               std::ptrdiff_t inStepBytes);

PrimitiveStatus CopyBlock_Portable(const std::uint8_t* inSource, std::ptrdiff_t inSourceStep,
                                   std::uint8_t* outDestination, std::ptrdiff_t inDestinationStep,
                                   std::int32_t inWidth, std::int32_t inHeight);
PrimitiveStatus CopyBytes_Portable(const std::uint8_t* inSource, std::uint8_t* outDestination,
                                   std::int64_t inLength);
PrimitiveStatus FillBlock_Portable(std::uint8_t inValue, std::uint8_t* outDestination, std::ptrdiff_t inStep,
                                   std::int32_t inWidth, std::int32_t inHeight);

/// Instantiated for every BlockSize.
template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlock_Portable(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                      const PixelBlock& outPixels);
template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlockBidirectional_Portable(const ReferenceBlock& inFirst,
                                                   const ReferenceBlock& inSecond,
                                                   const ResidualBlock& inResidual,
                                                   const PixelBlock& outPixels);

}  // namespace Vexmora
