// The start-code search thirty-two positions at a time.
#include <immintrin.h>

#include "primitives/avx2/Avx2.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

constexpr std::size_t kVectorBytes = sizeof(__m256i);
constexpr std::size_t kVectorsAtOnce = 4;
constexpr std::size_t kStride = kVectorBytes * kVectorsAtOnce;

__m256i Load(const std::uint8_t* inBytes) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(inBytes));
}

/// 0 at each of 32 positions where that byte and the next one are 0.
__m256i ZeroPairs(const std::uint8_t* inBytes) {
    return _mm256_or_si256(Load(inBytes), Load(inBytes + 1));
}

/// Bit i set when a prefix starts at position i of 32.
unsigned PrefixMask(const std::uint8_t* inBytes) {
    const __m256i pairs = _mm256_cmpeq_epi8(ZeroPairs(inBytes), _mm256_setzero_si256());
    const __m256i ones = _mm256_cmpeq_epi8(Load(inBytes + 2), _mm256_set1_epi8(1));
    return static_cast<unsigned>(_mm256_movemask_epi8(_mm256_and_si256(pairs, ones)));
}

/// Whether two zero bytes in a row start anywhere in a stride: seldom true in coded video, and cheaper to
/// ask.
bool HasZeroPair(const std::uint8_t* inBytes) {
    const __m256i lower = _mm256_min_epu8(ZeroPairs(inBytes), ZeroPairs(inBytes + kVectorBytes));
    const __m256i upper =
        _mm256_min_epu8(ZeroPairs(inBytes + 2 * kVectorBytes), ZeroPairs(inBytes + 3 * kVectorBytes));
    const __m256i zero = _mm256_cmpeq_epi8(_mm256_min_epu8(lower, upper), _mm256_setzero_si256());
    return _mm256_movemask_epi8(zero) != 0;
}

}  // namespace

std::size_t FindStartCodePrefix_Avx2(const std::uint8_t* inBytes, std::size_t inPositions) {
    // A vector of positions reads two bytes beyond them, just what may be read behind the last position.
    if (inPositions < kVectorBytes) return FindStartCodePrefix_Sse2(inBytes, inPositions);
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
