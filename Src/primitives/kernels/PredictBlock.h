// Predictions by packed averages, with the instructions of SSE2.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "primitives/Prediction.h"
#include "primitives/PrimitiveStatus.h"

namespace Vexmora {
namespace {

/// Rows that a register takes, one below the other.
template <std::size_t kWidth>
constexpr std::size_t kRowsAtOnce = kWidth == 16 ? 1 : 2;

inline __m128i LoadFour(const std::uint8_t* inFrom) {
    return _mm_loadu_si32(inFrom);
}

template <std::size_t kWidth>
inline __m128i LoadRows(const std::uint8_t* inFrom, std::ptrdiff_t inStep) {
    if constexpr (kWidth == 16) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(inFrom));
    } else if constexpr (kWidth == 8) {
        const __m128i upper = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(inFrom));
        return _mm_castps_si128(
            _mm_loadh_pi(_mm_castsi128_ps(upper), reinterpret_cast<const __m64*>(inFrom + inStep)));
    } else {
        return _mm_unpacklo_epi32(LoadFour(inFrom), LoadFour(inFrom + inStep));
    }
}

template <std::size_t kWidth>
inline void StoreRows(__m128i inRows, std::uint8_t* outTo, std::ptrdiff_t inStep) {
    if constexpr (kWidth == 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(outTo), inRows);
    } else if constexpr (kWidth == 8) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(outTo), inRows);
        _mm_storeh_pi(reinterpret_cast<__m64*>(outTo + inStep), _mm_castsi128_ps(inRows));
    } else {
        _mm_storeu_si32(outTo, inRows);
        _mm_storeu_si32(outTo + inStep, _mm_srli_epi64(inRows, 32));
    }
}

/// (inA + inB + inC + inD + 2) >> 2. Averages round up; where both roundings and the last one do, the result
/// is 1 too high.
inline __m128i AverageFour(__m128i inA, __m128i inB, __m128i inC, __m128i inD) {
    const __m128i one = _mm_avg_epu8(inA, inB);
    const __m128i other = _mm_avg_epu8(inC, inD);
    const __m128i rounded = _mm_or_si128(_mm_xor_si128(inA, inB), _mm_xor_si128(inC, inD));
    const __m128i again = _mm_and_si128(_mm_xor_si128(one, other), _mm_set1_epi8(1));
    return _mm_sub_epi8(_mm_avg_epu8(one, other), _mm_and_si128(rounded, again));
}

/// A way of making rows of a prediction: the average of two samples each, which are the same one where there
/// is nothing to interpolate. So only two kinds of predictions are told apart, and a processor seldom guesses
/// wrong which one comes next.
template <std::size_t kWidth>
struct RowsOfTwo {
    explicit RowsOfTwo(const ReferenceBlock& inReference)
        : samples(inReference.samples), step(inReference.step) {
        const auto type = static_cast<std::ptrdiff_t>(inReference.halfSampleType);
        constexpr auto kHorizontal = static_cast<std::ptrdiff_t>(HalfSampleType::HalfHorizontal);
        constexpr auto kVertical = static_cast<std::ptrdiff_t>(HalfSampleType::HalfVertical);
        other = (type & kHorizontal) / kHorizontal + (type & kVertical) / kVertical * step;
    }

    __m128i operator()(std::ptrdiff_t inRow) const {
        const std::uint8_t* const from = samples + inRow * step;
        return _mm_avg_epu8(LoadRows<kWidth>(from, step), LoadRows<kWidth>(from + other, step));
    }

    const std::uint8_t* samples;
    std::ptrdiff_t step;
    std::ptrdiff_t other;
};

/// The average of four samples each, for rows that are asked for one after the other: the upper samples of a
/// row are the lower ones of the row before it.
template <std::size_t kWidth>
struct RowsOfFour {
    explicit RowsOfFour(const ReferenceBlock& inReference)
        : next(inReference.samples), step(inReference.step) {
        if constexpr (kIsKept) left = Load(next), right = Load(next + 1);
    }

    __m128i operator()(std::ptrdiff_t) {
        const std::uint8_t* const from = next;
        next += static_cast<std::ptrdiff_t>(kRowsAtOnce<kWidth>) * step;
        if constexpr (kIsKept) {
            const __m128i upperLeft = left;
            const __m128i upperRight = right;
            left = Load(next);
            right = Load(next + 1);
            return AverageFour(upperLeft, upperRight, left, right);
        } else {
            return AverageFour(Load(from), Load(from + 1), Load(from + step), Load(from + step + 1));
        }
    }

    __m128i Load(const std::uint8_t* inFrom) const { return LoadRows<kWidth>(inFrom, step); }

    static constexpr bool kIsKept = kRowsAtOnce<kWidth> == 1;
    const std::uint8_t* next;
    std::ptrdiff_t step;
    __m128i left{};
    __m128i right{};
};

/// Calls inWork with the way in which rows of a prediction from inReference are made.
template <std::size_t kWidth, typename Work>
inline void WithRowsOf(const ReferenceBlock& inReference, Work inWork) {
    if (inReference.halfSampleType == HalfSampleType::HalfBoth) {
        inWork(RowsOfFour<kWidth>(inReference));
    } else {
        inWork(RowsOfTwo<kWidth>(inReference));
    }
}

/// Writes the rows that ioRowsAt makes, from the first one on.
template <std::size_t kWidth, std::size_t kHeight, typename RowsAt>
inline void FillRows(const PixelBlock& outPixels, RowsAt& ioRowsAt) {
    std::uint8_t* to = outPixels.samples;
    const std::ptrdiff_t step = outPixels.step;
    for (std::size_t y = 0; y < kHeight; y += kRowsAtOnce<kWidth>) {
        StoreRows<kWidth>(ioRowsAt(static_cast<std::ptrdiff_t>(y)), to, step);
        to += static_cast<std::ptrdiff_t>(kRowsAtOnce<kWidth>) * step;
    }
}

template <std::size_t kWidth, std::size_t kHeight>
inline void AddResidual(const ResidualBlock& inResidual, const PixelBlock& ioPixels) {
    const auto* residual = reinterpret_cast<const std::uint8_t*>(inResidual.samples);
    std::uint8_t* pixels = ioPixels.samples;
    const auto load = [](const std::uint8_t* inFrom) {
        return kWidth == 4 ? _mm_loadl_epi64(reinterpret_cast<const __m128i*>(inFrom))
                           : _mm_loadu_si128(reinterpret_cast<const __m128i*>(inFrom));
    };
    const __m128i zero = _mm_setzero_si128();
    for (std::size_t y = 0; y < kHeight; y += kRowsAtOnce<kWidth>) {
        const __m128i rows = LoadRows<kWidth>(pixels, ioPixels.step);
        const std::uint8_t* const next = kWidth == 16 ? residual + 16 : residual + inResidual.stepBytes;
        __m128i sums;
        if constexpr (kWidth == 4) {
            const __m128i both = _mm_unpacklo_epi64(load(residual), load(next));
            sums = _mm_adds_epi16(_mm_unpacklo_epi8(rows, zero), both);
            sums = _mm_packus_epi16(sums, sums);
        } else {
            sums = _mm_packus_epi16(_mm_adds_epi16(_mm_unpacklo_epi8(rows, zero), load(residual)),
                                    _mm_adds_epi16(_mm_unpackhi_epi8(rows, zero), load(next)));
        }
        StoreRows<kWidth>(sums, pixels, ioPixels.step);
        residual += static_cast<std::ptrdiff_t>(kRowsAtOnce<kWidth>) * inResidual.stepBytes;
        pixels += static_cast<std::ptrdiff_t>(kRowsAtOnce<kWidth>) * ioPixels.step;
    }
}

template <std::size_t kWidth, std::size_t kHeight>
inline PrimitiveStatus PredictFromOne(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                      const PixelBlock& outPixels) {
    if (inReference.samples == nullptr || outPixels.samples == nullptr) return PrimitiveStatus::NullPointer;
    WithRowsOf<kWidth>(inReference, [&](auto ioRows) { FillRows<kWidth, kHeight>(outPixels, ioRows); });
    if (inResidual.samples != nullptr) AddResidual<kWidth, kHeight>(inResidual, outPixels);
    return PrimitiveStatus::Ok;
}

template <std::size_t kWidth, std::size_t kHeight>
inline PrimitiveStatus PredictFromTwo(const ReferenceBlock& inFirst, const ReferenceBlock& inSecond,
                                      const ResidualBlock& inResidual, const PixelBlock& outPixels) {
    if (inFirst.samples == nullptr || inSecond.samples == nullptr || outPixels.samples == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    WithRowsOf<kWidth>(inFirst, [&](auto ioFirstRows) {
        WithRowsOf<kWidth>(inSecond, [&](auto ioSecondRows) {
            const auto both = [&](std::ptrdiff_t inRow) {
                return _mm_avg_epu8(ioFirstRows(inRow), ioSecondRows(inRow));
            };
            FillRows<kWidth, kHeight>(outPixels, both);
        });
    });
    if (inResidual.samples != nullptr) AddResidual<kWidth, kHeight>(inResidual, outPixels);
    return PrimitiveStatus::Ok;
}

}  // namespace
}  // namespace Vexmora
