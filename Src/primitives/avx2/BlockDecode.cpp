// Decoding of blocks with the shifts of BMI2, which do without flags and a fixed register.
#include "primitives/kernels/BlockDecode.h"

#include "primitives/avx2/Avx2.h"

namespace Vexmora {

PrimitiveStatus DecodeIntraBlocks_Avx2(BitWindow& ioBits, const IntraCoding& inCoding,
                                       std::array<std::int16_t, 3>& ioDcPredictors,
                                       CoefficientBlocks& outBlocks, std::size_t& outDecoded) {
    return DecodeIntraBlocks(ioBits, inCoding, ioDcPredictors, outBlocks, outDecoded);
}

PrimitiveStatus DecodeNonIntraBlocks_Avx2(BitWindow& ioBits, const NonIntraCoding& inCoding,
                                          std::uint32_t inPattern, CoefficientBlocks& outBlocks,
                                          std::uint32_t& outDecoded) {
    return DecodeNonIntraBlocks(ioBits, inCoding, inPattern, outBlocks, outDecoded);
}

}  // namespace Vexmora
