// Predictions sixteen samples at a time, with the baseline instructions of 64-bit x86 processors.
#include "primitives/kernels/PredictBlock.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlock_Sse2(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                  const PixelBlock& outPixels) {
    return PredictFromOne<kWidth, kHeight>(inReference, inResidual, outPixels);
}

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlockBidirectional_Sse2(const ReferenceBlock& inFirst, const ReferenceBlock& inSecond,
                                               const ResidualBlock& inResidual, const PixelBlock& outPixels) {
    return PredictFromTwo<kWidth, kHeight>(inFirst, inSecond, inResidual, outPixels);
}

VEXMORA_FOR_BLOCK_SIZES(VEXMORA_INSTANTIATE_PREDICTIONS, Sse2)

}  // namespace Vexmora
