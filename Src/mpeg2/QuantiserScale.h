// quantiser_scale by quantiser_scale_code (ISO/IEC 13818-2, table 7-6).
#pragma once

#include <array>
#include <cstdint>

namespace Vexmora {

inline constexpr std::array<std::uint8_t, 32> kNonLinearQuantiserScale = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  10, 12, 14, 16, 18, 20,  22,
    24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96, 104, 112,
};

/// inCode is 0 to 31.
constexpr std::int32_t QuantiserScale(bool inIsNonLinear, std::uint32_t inCode) {
    return inIsNonLinear ? std::int32_t{kNonLinearQuantiserScale[inCode]}
                         : static_cast<std::int32_t>(2 * inCode);
}

}  // namespace Vexmora
