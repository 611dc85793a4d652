// Decoding of blocks, for any processor.
#include "primitives/kernels/BlockDecode.h"

#include "primitives/portable/Portable.h"

namespace Vexmora {

PrimitiveStatus DecodeIntraBlocks_Portable(BitWindow& ioBits, const IntraCoding& inCoding,
                                           std::array<std::int16_t, 3>& ioDcPredictors,
                                           CoefficientBlocks& outBlocks, std::size_t& outDecoded) {
    return DecodeIntraBlocks(ioBits, inCoding, ioDcPredictors, outBlocks, outDecoded);
}

PrimitiveStatus DecodeNonIntraBlocks_Portable(BitWindow& ioBits, const NonIntraCoding& inCoding,
                                              std::uint32_t inPattern, CoefficientBlocks& outBlocks,
                                              std::uint32_t& outDecoded) {
    return DecodeNonIntraBlocks(ioBits, inCoding, inPattern, outBlocks, outDecoded);
}

PrimitiveStatus DecodeIntraBlock_Portable(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                          std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    return DecodeIntraBlock(ioBits, inCoding, ioDcPredictor, outBlock);
}

PrimitiveStatus DecodeNonIntraBlock_Portable(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                             CoefficientBlock& outBlock) {
    return DecodeNonIntraBlock(ioBits, inCoding, outBlock);
}

}  // namespace Vexmora
