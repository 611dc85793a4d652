// The inverse transforms for reduced pictures in packed arithmetic: first all rows at once, then all columns.
#include <emmintrin.h>

#include "primitives/BlockDecode.h"
#include "primitives/kernels/ReducedIdctFactors.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

// For each of the four values of a row the factors of x0 and x2, and of x1 and x3, row after row.
struct RowPassFactors {
    alignas(16) std::int16_t even[kColumns][2 * kRows];
    alignas(16) std::int16_t odd[kColumns][2 * kRows];
};

constexpr RowPassFactors MakeRowPassFactors() {
    RowPassFactors made{};
    for (int row = 0; row < kRows; ++row) {
        const RowFactors& factors = *kFactors[row];
        for (int i = 0; i < kColumns; ++i) {
            const int at = i % 2 * 2;
            for (int j = 0; j < 2; ++j) {
                const bool is_first_half = i < 2;
                made.even[i][2 * row + j] =
                    static_cast<std::int16_t>(is_first_half ? factors.t0[at + j] : factors.t1[at + j]);
                made.odd[i][2 * row + j] =
                    static_cast<std::int16_t>(is_first_half ? factors.t2[at + j] : -factors.t3[at + j]);
            }
        }
    }
    return made;
}

__m128i Load(const std::int16_t* inValues) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(inValues));
}

// Value inIndex of four rows, whose coefficients come in pairs.
__m128i TransformRows(__m128i inEven, __m128i inOdd, int inIndex, int inFirstRow) {
    alignas(16) static constexpr RowPassFactors kRowPassFactors = MakeRowPassFactors();
    alignas(16) static constexpr std::int32_t kRowRounding[kRows] = {kRounding[0], kRounding[1], kRounding[2],
                                                                     kRounding[3], kRounding[4], kRounding[5],
                                                                     kRounding[6], kRounding[7]};
    const __m128i even = _mm_madd_epi16(inEven, Load(kRowPassFactors.even[inIndex] + 2 * inFirstRow));
    const __m128i odd = _mm_madd_epi16(inOdd, Load(kRowPassFactors.odd[inIndex] + 2 * inFirstRow));
    const __m128i rounding = _mm_load_si128(reinterpret_cast<const __m128i*>(kRowRounding + inFirstRow));
    return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(even, rounding), odd), kRowShift);
}

__m128i Times(__m128i inValues, std::int32_t inFactor) {
    return _mm_mulhi_epi16(inValues, _mm_set1_epi16(static_cast<std::int16_t>(inFactor)));
}

// The 8-point column transform of four columns, in the lower halves.
void TransformColumns(const __m128i (&x)[kRows], __m128i (&outRows)[kRows]) {
    const __m128i tp17 = _mm_adds_epi16(Times(x[7], kTan1), x[1]);
    const __m128i tm17 = _mm_subs_epi16(Times(x[1], kTan1), x[7]);
    const __m128i tp35 = _mm_adds_epi16(_mm_adds_epi16(Times(x[5], kTan3Less1), x[5]), x[3]);
    const __m128i tm35 = _mm_subs_epi16(_mm_adds_epi16(Times(x[3], kTan3Less1), x[3]), x[5]);
    const __m128i sum = _mm_subs_epi16(tp17, tp35);
    const __m128i difference = _mm_adds_epi16(tm17, tm35);
    const __m128i plus = _mm_adds_epi16(sum, difference);
    const __m128i minus = _mm_subs_epi16(sum, difference);
    const __m128i odd[4] = {_mm_adds_epi16(tp17, tp35), _mm_adds_epi16(Times(plus, kCos4Less1), plus),
                            _mm_adds_epi16(Times(minus, kCos4Less1), minus), _mm_subs_epi16(tm17, tm35)};

    const __m128i tp04 = _mm_adds_epi16(x[0], x[4]);
    const __m128i tm04 = _mm_subs_epi16(x[0], x[4]);
    const __m128i tp26 = _mm_adds_epi16(Times(x[6], kTan2), x[2]);
    const __m128i tm26 = _mm_subs_epi16(Times(x[2], kTan2), x[6]);
    const __m128i even[4] = {_mm_adds_epi16(tp04, tp26), _mm_adds_epi16(tm04, tm26),
                             _mm_subs_epi16(tm04, tm26), _mm_subs_epi16(tp04, tp26)};
    for (int i = 0; i < 4; ++i) {
        outRows[i] = _mm_srai_epi16(_mm_adds_epi16(even[i], odd[i]), kColumnShift);
        outRows[7 - i] = _mm_srai_epi16(_mm_subs_epi16(even[i], odd[i]), kColumnShift);
    }
}

// Rows of four samples, in the lower halves. In its callers, so that the rows stay in registers.
[[gnu::always_inline]] inline void ReducedIdct(const CoefficientBlock& inBlock, __m128i (&outRows)[kRows]) {
    const std::int16_t* const values = inBlock.values;
    const __m128i x[kColumns] = {Load(values), Load(values + 8), Load(values + 16), Load(values + 24)};
    const __m128i others =
        _mm_or_si128(_mm_or_si128(x[1], x[2]), _mm_or_si128(x[3], _mm_srli_si128(x[0], sizeof values[0])));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(others, _mm_setzero_si128())) == 0xFFFF) {  // as IsReducedFlat
        const auto flat = static_cast<std::int16_t>((values[0] + 4) >> 3);
        for (__m128i& row : outRows) row = _mm_set1_epi16(flat);
        return;
    }
    const __m128i even_upper = _mm_unpacklo_epi16(x[0], x[2]);
    const __m128i even_lower = _mm_unpackhi_epi16(x[0], x[2]);
    const __m128i odd_upper = _mm_unpacklo_epi16(x[1], x[3]);
    const __m128i odd_lower = _mm_unpackhi_epi16(x[1], x[3]);
    __m128i columns[kColumns];
    for (int i = 0; i < kColumns; ++i) {
        columns[i] = _mm_packs_epi32(TransformRows(even_upper, odd_upper, i, 0),
                                     TransformRows(even_lower, odd_lower, i, 4));
    }
    const __m128i left_upper = _mm_unpacklo_epi16(columns[0], columns[1]);
    const __m128i left_lower = _mm_unpackhi_epi16(columns[0], columns[1]);
    const __m128i right_upper = _mm_unpacklo_epi16(columns[2], columns[3]);
    const __m128i right_lower = _mm_unpackhi_epi16(columns[2], columns[3]);
    const __m128i pairs[4] = {
        _mm_unpacklo_epi32(left_upper, right_upper), _mm_unpackhi_epi32(left_upper, right_upper),
        _mm_unpacklo_epi32(left_lower, right_lower), _mm_unpackhi_epi32(left_lower, right_lower)};
    __m128i rows[kRows];
    for (int i = 0; i < 4; ++i) {
        rows[2 * i] = pairs[i];
        rows[2 * i + 1] = _mm_unpackhi_epi64(pairs[i], pairs[i]);
    }
    TransformColumns(rows, outRows);
}

enum class Target { Replace, Add };

// Every kEvery-th row, clipped, in consecutive rows of pixels or on top of them.
template <Target kTarget, int kEvery>
PrimitiveStatus ToPixels(const CoefficientBlock& inBlock, std::uint8_t* ioPixels, std::ptrdiff_t inStep) {
    if (ioPixels == nullptr) return PrimitiveStatus::NullPointer;
    __m128i rows[kRows];
    ReducedIdct(inBlock, rows);
    for (int row = 0; row < kRows; row += 2 * kEvery, ioPixels += 2 * inStep) {
        __m128i two = _mm_unpacklo_epi64(rows[row], rows[row + kEvery]);
        if (kTarget == Target::Add) {
            const __m128i before =
                _mm_unpacklo_epi32(_mm_loadu_si32(ioPixels), _mm_loadu_si32(ioPixels + inStep));
            two = _mm_adds_epi16(two, _mm_unpacklo_epi8(before, _mm_setzero_si128()));
        }
        two = _mm_packus_epi16(two, two);
        _mm_storeu_si32(ioPixels, two);
        _mm_storeu_si32(ioPixels + inStep, _mm_srli_epi64(two, 32));
    }
    return PrimitiveStatus::Ok;
}

template <int kEvery>
PrimitiveStatus ToResidual(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                           std::ptrdiff_t inStepBytes) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    __m128i rows[kRows];
    ReducedIdct(inBlock, rows);
    auto* to = reinterpret_cast<std::uint8_t*>(outResidual);
    for (int row = 0; row < kRows; row += kEvery, to += inStepBytes) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), rows[row]);
    }
    return PrimitiveStatus::Ok;
}

}  // namespace

PrimitiveStatus ReducedIdctToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                         std::ptrdiff_t inStep) {
    return ToPixels<Target::Replace, 1>(inBlock, outPixels, inStep);
}

PrimitiveStatus ReducedIdctAddToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                            std::ptrdiff_t inStep) {
    return ToPixels<Target::Add, 1>(inBlock, ioPixels, inStep);
}

PrimitiveStatus ReducedIdctToResidual_Sse2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                           std::ptrdiff_t inStepBytes) {
    return ToResidual<1>(inBlock, outResidual, inStepBytes);
}

PrimitiveStatus QuarterIdctToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                         std::ptrdiff_t inStep) {
    return ToPixels<Target::Replace, 2>(inBlock, outPixels, inStep);
}

PrimitiveStatus QuarterIdctAddToPixels_Sse2(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                            std::ptrdiff_t inStep) {
    return ToPixels<Target::Add, 2>(inBlock, ioPixels, inStep);
}

PrimitiveStatus QuarterIdctToResidual_Sse2(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                           std::ptrdiff_t inStepBytes) {
    return ToResidual<2>(inBlock, outResidual, inStepBytes);
}

}  // namespace Vexmora
