// The search for start codes thirty-two positions at a time.
#include <immintrin.h>

#include "primitives/avx2/Avx2.h"
#include "primitives/kernels/QuietPackets.h"
#include "primitives/kernels/StartCodeSearch.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

struct Vector {
    using Bytes = __m256i;
    static constexpr std::size_t kSize = sizeof(Bytes);

    static Bytes Load(const std::uint8_t* in) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    }
    static Bytes Or(Bytes in, Bytes inOther) { return _mm256_or_si256(in, inOther); }
    static Bytes Least(Bytes in, Bytes inOther) { return _mm256_min_epu8(in, inOther); }
    static std::uint32_t Zeros(Bytes in) { return Equal(in, _mm256_setzero_si256()); }
    static std::uint32_t Ones(Bytes in) { return Equal(in, _mm256_set1_epi8(1)); }

  private:
    static std::uint32_t Equal(Bytes in, Bytes inOther) {
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(in, inOther)));
    }
};

struct Search : StartCodeSearch<Vector> {
    static std::size_t FindCodeButSlices(const std::uint8_t* inBytes, std::size_t inPositions) {
        return Find<NoSlice>(inBytes, inPositions);
    }
};

}  // namespace

std::size_t FindStartCodePrefix_Avx2(const std::uint8_t* inBytes, std::size_t inPositions) {
    if (inPositions < Vector::kSize) return FindStartCodePrefix_Sse2(inBytes, inPositions);
    return Search::Find<AnyCode>(inBytes, inPositions);
}

std::size_t FindCodeButSlices_Avx2(const std::uint8_t* inBytes, std::size_t inPositions) {
    if (inPositions < Vector::kSize) return FindCodeButSlices_Sse2(inBytes, inPositions);
    return Search::Find<NoSlice>(inBytes, inPositions);
}

QuietPackets PassQuietPackets_Avx2(const std::uint8_t* inPackets, std::size_t inCount,
                                   std::uint32_t inVideoPid) {
    return QuietPacketSearch<Search>::Pass(inPackets, inCount, inVideoPid);
}

}  // namespace Vexmora
