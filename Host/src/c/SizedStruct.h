// Structs that begin with their size, so that program and library may know different lengths of them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "c/Answer.h"

namespace VexmoraHost {

/// No struct will ever be longer: what is has no size in its first field.
inline constexpr std::size_t kLongestStruct = 4096;

/// Throws Misuse unless inSize is one that a program may have. When fields are added, the least one stays
/// that of version 0.1.
inline void CheckStructSize(std::size_t inSize, std::size_t inLeast) {
    if (inSize < inLeast || inSize > kLongestStruct) {
        throw Misuse{VEXMORA_BAD_ARGUMENT, "a struct has no usable size", "set struct_size to its sizeof"};
    }
}

inline void CheckNotNull(const void* inPointer) {
    if (inPointer == nullptr) {
        throw Misuse{VEXMORA_BAD_ARGUMENT, "a null pointer was given", "give an address"};
    }
}

/// Fills as much of the caller's struct as it has; what this library does not know stays as it is.
template <typename StructOf>
void WriteStruct(const StructOf& inFilled, StructOf* outStruct) {
    CheckNotNull(outStruct);
    const std::size_t size = outStruct->struct_size;
    CheckStructSize(size, sizeof(StructOf));
    std::memcpy(outStruct, &inFilled, std::min(size, sizeof(StructOf)));
    outStruct->struct_size = size;
}

/// The caller's struct as this library knows it. Throws Misuse where the caller asks for what it does not.
template <typename StructOf>
StructOf ReadStruct(const StructOf* inStruct) {
    const std::size_t size = inStruct->struct_size;
    CheckStructSize(size, sizeof(StructOf));
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(inStruct);
    if (std::any_of(bytes + sizeof(StructOf), bytes + size,
                    [](std::uint8_t inByte) { return inByte != 0; })) {
        throw Misuse{VEXMORA_BAD_ARGUMENT, "an option is not known to this version", "leave it 0, or update"};
    }
    return *inStruct;
}

}  // namespace VexmoraHost
