// The reversal of the bytes of each word, eight words a vector.
#include <immintrin.h>

#include "primitives/avx2/Avx2.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {

void SwapWords_Avx2(std::uint8_t* ioBytes, std::size_t inWords) {
    constexpr std::size_t kVectorWords = 8;
    const __m256i reversed = _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2, 1,
                                              0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    for (; inWords >= kVectorWords; inWords -= kVectorWords, ioBytes += sizeof(__m256i)) {
        auto* words = reinterpret_cast<__m256i*>(ioBytes);
        _mm256_storeu_si256(words, _mm256_shuffle_epi8(_mm256_loadu_si256(words), reversed));
    }
    SwapWords_Portable(ioBytes, inWords);
}

}  // namespace Vexmora
