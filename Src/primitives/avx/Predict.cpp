// Predictions sixteen samples at a time, with the instruction forms of AVX.
#include "primitives/avx/Avx.h"
#include "primitives/kernels/PredictBlock.h"

namespace Vexmora {

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlock_Avx(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                 const PixelBlock& outPixels) {
    return PredictFromOne<kWidth, kHeight>(inReference, inResidual, outPixels);
}

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlockBidirectional_Avx(const ReferenceBlock& inFirst, const ReferenceBlock& inSecond,
                                              const ResidualBlock& inResidual, const PixelBlock& outPixels) {
    return PredictFromTwo<kWidth, kHeight>(inFirst, inSecond, inResidual, outPixels);
}

VEXMORA_FOR_BLOCK_SIZES(VEXMORA_INSTANTIATE_PREDICTIONS, Avx)

}  // namespace Vexmora
