// Which programs and streams the first bytes of a recording hold, by its packaging.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VexmoraHost/Programs.h"
#include "sources/JoinedFiles.h"

namespace VexmoraHost {

/// No further than this behind its begin a recording is looked at.
inline constexpr std::uint64_t kLookedAtBytes = 16 << 20;

/// By the tables; where they tell nothing, by the PES packets that are met.
std::vector<ProgramInfo> ListTransportStreams(const JoinedFiles& inFiles, std::size_t inPacketDistance,
                                              std::uint64_t inBegin);
std::vector<ProgramInfo> ListProgramStreams(const JoinedFiles& inFiles, std::uint64_t inBegin);
std::vector<ProgramInfo> ListElementaryStream(const JoinedFiles& inFiles, std::uint64_t inBegin);

}  // namespace VexmoraHost
