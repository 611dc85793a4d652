// The start-code search sixteen positions at a time.
#include <emmintrin.h>

#include "primitives/portable/Portable.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

constexpr std::size_t kVectorBytes = sizeof(__m128i);
constexpr std::size_t kVectorsAtOnce = 4;
constexpr std::size_t kStride = kVectorBytes * kVectorsAtOnce;

__m128i Load(const std::uint8_t* inBytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(inBytes));
}

/// 0 at each of 16 positions where that byte and the next one are 0.
__m128i ZeroPairs(const std::uint8_t* inBytes) {
    return _mm_or_si128(Load(inBytes), Load(inBytes + 1));
}

/// Bit i set when a prefix starts at position i of 16.
unsigned PrefixMask(const std::uint8_t* inBytes) {
    const __m128i pairs = _mm_cmpeq_epi8(ZeroPairs(inBytes), _mm_setzero_si128());
    const __m128i ones = _mm_cmpeq_epi8(Load(inBytes + 2), _mm_set1_epi8(1));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(pairs, ones)));
}

/// Whether two zero bytes in a row start anywhere in a stride: seldom true in coded video, and cheaper to
/// ask.
bool HasZeroPair(const std::uint8_t* inBytes) {
    const __m128i lower = _mm_min_epu8(ZeroPairs(inBytes), ZeroPairs(inBytes + kVectorBytes));
    const __m128i upper =
        _mm_min_epu8(ZeroPairs(inBytes + 2 * kVectorBytes), ZeroPairs(inBytes + 3 * kVectorBytes));
    const __m128i zero = _mm_cmpeq_epi8(_mm_min_epu8(lower, upper), _mm_setzero_si128());
    return _mm_movemask_epi8(zero) != 0;
}

}  // namespace

std::size_t FindStartCodePrefix_Sse2(const std::uint8_t* inBytes, std::size_t inPositions) {
    // A vector of positions reads two bytes beyond them, just what may be read behind the last position.
    if (inPositions < kVectorBytes) return FindStartCodePrefix_Portable(inBytes, inPositions);
    std::size_t at = 0;
    while (at + kVectorBytes <= inPositions) {
        if (at + kStride <= inPositions && !HasZeroPair(inBytes + at)) {
            at += kStride;
            continue;
        }
        const unsigned found = PrefixMask(inBytes + at);
        if (found != 0) return at + static_cast<std::size_t>(__builtin_ctz(found));
        at += kVectorBytes;
    }
    // The rest as one vector that ends at the last position; the positions it sees again hold no prefix.
    const std::size_t last = inPositions - kVectorBytes;
    const unsigned found = PrefixMask(inBytes + last);
    return found != 0 ? last + static_cast<std::size_t>(__builtin_ctz(found)) : inPositions;
}

}  // namespace Vexmora
