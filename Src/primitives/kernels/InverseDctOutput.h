// From rows of eight samples to pixels and residuals, with the instructions of SSE2.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace Vexmora {
namespace {

using SampleRows = __m128i[8];

inline void StoreClipped(const SampleRows& inRows, std::uint8_t* outPixels, std::ptrdiff_t inStep) {
    for (int y = 0; y < 8; y += 2, outPixels += 2 * inStep) {
        const __m128i two = _mm_packus_epi16(inRows[y], inRows[y + 1]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(outPixels), two);
        _mm_storeh_pi(reinterpret_cast<__m64*>(outPixels + inStep), _mm_castsi128_ps(two));
    }
}

inline void AddPixels(SampleRows& ioRows, const std::uint8_t* inPixels, std::ptrdiff_t inStep) {
    for (__m128i& row : ioRows) {
        const __m128i pixels = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(inPixels));
        row = _mm_adds_epi16(row, _mm_unpacklo_epi8(pixels, _mm_setzero_si128()));
        inPixels += inStep;
    }
}

inline void StoreRows(const SampleRows& inRows, std::int16_t* outResidual, std::ptrdiff_t inStepBytes) {
    auto* to = reinterpret_cast<std::uint8_t*>(outResidual);
    for (const __m128i& row : inRows) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), row);
        to += inStepBytes;
    }
}

}  // namespace
}  // namespace Vexmora
