// Decoding of blocks, for any processor.
#include "primitives/kernels/BlockDecode.h"

#include "primitives/portable/Portable.h"

namespace Vexmora {

PrimitiveStatus DecodeIntraBlock_Portable(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                          std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    return DecodeIntraBlock(ioBits, inCoding, ioDcPredictor, outBlock);
}

PrimitiveStatus DecodeNonIntraBlock_Portable(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                             CoefficientBlock& outBlock) {
    return DecodeNonIntraBlock(ioBits, inCoding, outBlock);
}

}  // namespace Vexmora
