// The status codes with which pictures, slices and macroblocks are decoded.
#pragma once

#include <cstdint>

namespace Vexmora {

enum class [[nodiscard]] DecodeStatus : std::int32_t{
    Ok = 0,
    /// A code that is not in its table, or a reference picture without planes.
    Failed = -1,
    /// A header or macroblock that is not valid, or data that ends too early.
    InvalidData = -2,
    /// The output picture has no planes.
    NoOutput = -6,
    /// Eleven zero bits in the place of a macroblock_address_increment.
    NoAddressIncrement = -12,
};

}  // namespace Vexmora
