// Decoding of blocks with the shifts of BMI2, which do without flags and a fixed register.
#include "primitives/kernels/BlockDecode.h"

#include "primitives/avx2/Avx2.h"

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
