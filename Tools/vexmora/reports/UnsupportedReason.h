// Why a stream could not be indexed, as far as its first bytes tell.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace VexmoraCommand {

/// What is wrong with a stream and what its owner can do, in words.
struct UnsupportedReason {
    std::string_view what;
    std::string_view advice;
};

/// Explains why the library refused a stream.
/// @param inStart the first bytes of the file, or all of it when it is shorter.
UnsupportedReason ExplainUnsupported(std::span<const std::uint8_t> inStart);

}  // namespace VexmoraCommand
