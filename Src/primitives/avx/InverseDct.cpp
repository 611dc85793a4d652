// The inverse 8 x 8 transform with eight float values a register.
#include "primitives/avx/Avx.h"
#include "primitives/kernels/InverseDctAvx.h"
#include "primitives/kernels/InverseDctOutput.h"

namespace Vexmora {
namespace {

void InverseDct(const CoefficientBlock& inBlock, SampleRows& outRows) {
    if (IsFlat(inBlock.reach, inBlock.values)) {
        for (__m128i& row : outRows) row = _mm_set1_epi16(FlatSample(inBlock));
        return;
    }
    __m256i rows[8];
    InverseDct(inBlock, rows);
    for (int y = 0; y < 8; ++y) {
        outRows[y] = _mm_packs_epi32(_mm256_castsi256_si128(rows[y]), _mm256_extractf128_si256(rows[y], 1));
    }
}

}  // namespace

PrimitiveStatus InverseDctToPixels_Avx(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                       std::ptrdiff_t inStep) {
    if (outPixels == nullptr) return PrimitiveStatus::NullPointer;
    SampleRows rows;
    InverseDct(inBlock, rows);
    StoreClipped(rows, outPixels, inStep);
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctAddToPixels_Avx(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                          std::ptrdiff_t inStep) {
    if (ioPixels == nullptr) return PrimitiveStatus::NullPointer;
    SampleRows rows;
    InverseDct(inBlock, rows);
    AddPixels(rows, ioPixels, inStep);
    StoreClipped(rows, ioPixels, inStep);
    return PrimitiveStatus::Ok;
}

PrimitiveStatus InverseDctToResidual_Avx(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                         std::ptrdiff_t inStepBytes) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    SampleRows rows;
    InverseDct(inBlock, rows);
    StoreRows(rows, outResidual, inStepBytes);
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
