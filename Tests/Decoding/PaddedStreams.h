// A few pictures of a real encoder, spread over a file of several blocks in each packaging.
#pragma once

#include <filesystem>
#include <vector>

#include "Decoding/CodedVideo.h"

namespace Vexmora::Test {

/// An I picture and six B and P, so that none is missing in display order.
inline constexpr std::size_t kPaddedPictures = 7;

/// Reaches into its third block, so that one is read ahead.
struct PaddedStream {
    Bytes bytes;
    CodedVideo pictures;
};

/// The first pictures of the elementary stream at inPath: elementary, program and transport stream.
std::vector<PaddedStream> MakePaddedStreams(const std::filesystem::path& inPath);

}  // namespace Vexmora::Test
