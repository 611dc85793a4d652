// Decoding of blocks with shifts that take their count from any register (BMI2).
#include "primitives/avx2/Avx2.h"
#include "primitives/kernels/DecodeBlock.h"

namespace Vexmora {

PrimitiveStatus DecodeIntraBlock_Avx2(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                      std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    return DecodeIntraBlock(ioBits, inCoding, ioDcPredictor, outBlock);
}

PrimitiveStatus DecodeNonIntraBlock_Avx2(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                         CoefficientBlock& outBlock) {
    return DecodeNonIntraBlock(ioBits, inCoding, outBlock);
}

}  // namespace Vexmora
