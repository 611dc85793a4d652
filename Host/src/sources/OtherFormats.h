// What a file is that holds no MPEG-2 stream, for the user to know what to do.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace VexmoraHost {

/// What is wrong with a recording and what its owner can do, as Error wants it.
struct Refusal {
    std::string_view problem;
    std::string_view advice;
};

/// Files that say what they are in their first bytes: nothing in them is to be taken for a stream.
std::optional<Refusal> RecogniseOtherFormat(std::span<const std::uint8_t> inStart);

/// Why nothing in the first bytes is a stream of a kind that is read.
Refusal ExplainUnknownFormat(std::span<const std::uint8_t> inStart);

}  // namespace VexmoraHost
