// The status that primitives answer with.
#pragma once

#include <cstdint>

namespace Vexmora {

/// 0 is success, everything negative a failure.
enum class [[nodiscard]] PrimitiveStatus : std::int32_t{
    Ok = 0,
    /// A length, width or height is not above 0.
    SizeNotPositive = -6,
    NullPointer = -8,
    /// A code list is not well formed or its codes are not prefix-free.
    BadTable = -20,
    /// The coded data holds a code that its table does not have.
    BadCode = -21,
    /// The coded data places a coefficient beyond the last one of the block.
    TooManyCoefficients = -22,
    /// The coded data ends within a code.
    OutOfData = -23,
};

}  // namespace Vexmora
