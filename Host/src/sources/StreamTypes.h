// What the numbers of ISO/IEC 13818-1 and of those who build on it say about a stream, in words.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "VexmoraHost/Programs.h"

namespace VexmoraHost {

inline constexpr std::string_view kMpeg1Video = "MPEG-1 video";
inline constexpr std::string_view kMpeg2Video = "MPEG-2 video";
inline constexpr std::string_view kH264Video = "H.264";
inline constexpr std::string_view kHevcVideo = "HEVC";
inline constexpr std::string_view kUnknownVideo = "unknown video";

/// A stream of a program map table.
/// @param inDescriptors of its entry.
StreamInfo DescribeStream(std::uint8_t inStreamType, std::uint16_t inPid,
                          std::span<const std::uint8_t> inDescriptors);

/// A stream of PES packets that no table describes, by its stream_id and the first bytes of a payload.
/// @param inId StreamInfo::id of the result.
StreamInfo DescribePesStream(std::uint8_t inStreamId, std::uint16_t inId,
                             std::span<const std::uint8_t> inPayload);

}  // namespace VexmoraHost
