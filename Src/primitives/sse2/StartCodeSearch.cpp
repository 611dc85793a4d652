// The search for start codes sixteen positions at a time.
#include <emmintrin.h>

#include "primitives/kernels/QuietPackets.h"
#include "primitives/kernels/StartCodeSearch.h"
#include "primitives/portable/Portable.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

struct Vector {
    using Bytes = __m128i;
    static constexpr std::size_t kSize = sizeof(Bytes);

    static Bytes Load(const std::uint8_t* in) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    }
    static Bytes Or(Bytes in, Bytes inOther) { return _mm_or_si128(in, inOther); }
    static Bytes Least(Bytes in, Bytes inOther) { return _mm_min_epu8(in, inOther); }
    static std::uint32_t Zeros(Bytes in) { return Equal(in, _mm_setzero_si128()); }
    static std::uint32_t Ones(Bytes in) { return Equal(in, _mm_set1_epi8(1)); }

  private:
    static std::uint32_t Equal(Bytes in, Bytes inOther) {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(in, inOther)));
    }
};

struct Search : StartCodeSearch<Vector> {
    static std::size_t FindCodeButSlices(const std::uint8_t* inBytes, std::size_t inPositions) {
        return Find<NoSlice>(inBytes, inPositions);
    }
};

}  // namespace

std::size_t FindStartCodePrefix_Sse2(const std::uint8_t* inBytes, std::size_t inPositions) {
    if (inPositions < Vector::kSize) return FindStartCodePrefix_Portable(inBytes, inPositions);
    return Search::Find<AnyCode>(inBytes, inPositions);
}

std::size_t FindCodeButSlices_Sse2(const std::uint8_t* inBytes, std::size_t inPositions) {
    if (inPositions < Vector::kSize) return FindCodeButSlices_Portable(inBytes, inPositions);
    return Search::Find<NoSlice>(inBytes, inPositions);
}

QuietPackets PassQuietPackets_Sse2(const std::uint8_t* inPackets, std::size_t inCount,
                                   std::uint32_t inVideoPid) {
    return QuietPacketSearch<Search>::Pass(inPackets, inCount, inVideoPid);
}

}  // namespace Vexmora
