// The search for start codes, and for what surely holds none, over vectors of bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mpeg_system/StartCodes.h"
#include "primitives/kernels/QuietPackets.h"

namespace Vexmora {
namespace {

struct AnyCode {
    static bool Accepts(const std::uint8_t*) { return true; }
};
struct NoSlice {
    static bool Accepts(const std::uint8_t* inStartCode) {
        const std::uint32_t code = 0x100u | inStartCode[kStartCodePrefixSize];
        return code < kFirstSliceStartCode || code > kLastSliceStartCode;
    }
};

/// Vector: kSize bytes at once; Zeros and Ones have bit i set where byte i is 0 or 1.
template <typename Vector>
class StartCodeSearch {
  public:
    /// Position of the first prefix that Code accepts; needs Vector::kSize positions.
    template <typename Code>
    static std::size_t Find(const std::uint8_t* inBytes, std::size_t inPositions) {
        std::size_t at = 0;
        for (; at + kStride <= inPositions; at += kStride) {
            // Seldom true in coded video, and cheaper to ask.
            if (!HasZeroPair<kStride>(inBytes + at)) continue;
            for (std::size_t part = at; part < at + kStride; part += Vector::kSize) {
                const std::size_t found = FindInVector<Code>(inBytes + part);
                if (found != Vector::kSize) return part + found;
            }
        }
        for (; at + Vector::kSize <= inPositions; at += Vector::kSize) {
            const std::size_t found = FindInVector<Code>(inBytes + at);
            if (found != Vector::kSize) return at + found;
        }
        // The rest as one vector that ends at the last position; what it sees again holds nothing.
        const std::size_t last = inPositions - Vector::kSize;
        return last + FindInVector<Code>(inBytes + last);
    }

    /// Whether two zero bytes in a row begin anywhere in kPositions, of which there is a vector at least.
    template <std::size_t kPositions>
    static bool HasZeroPair(const std::uint8_t* inBytes) {
        typename Vector::Bytes least = ZeroPairs(inBytes + kPositions - Vector::kSize);
        for (std::size_t at = 0; at + Vector::kSize < kPositions; at += Vector::kSize) {
            least = Vector::Least(least, ZeroPairs(inBytes + at));
        }
        return Vector::Zeros(least) != 0;
    }

  private:
    static constexpr std::size_t kStride = 4 * Vector::kSize;

    /// 0 at each position where that byte and the next one are 0.
    static typename Vector::Bytes ZeroPairs(const std::uint8_t* inBytes) {
        return Vector::Or(Vector::Load(inBytes), Vector::Load(inBytes + 1));
    }

    // Reads two bytes beyond the positions, and the code of a prefix.
    template <typename Code>
    static std::size_t FindInVector(const std::uint8_t* inBytes) {
        std::uint32_t found = Vector::Zeros(ZeroPairs(inBytes));
        if (found == 0) return Vector::kSize;
        found &= Vector::Ones(Vector::Load(inBytes + 2));
        for (; found != 0; found &= found - 1) {
            const auto at = static_cast<std::size_t>(__builtin_ctz(found));
            if (Code::Accepts(inBytes + at)) return at;
        }
        return Vector::kSize;
    }
};

}  // namespace
}  // namespace Vexmora
