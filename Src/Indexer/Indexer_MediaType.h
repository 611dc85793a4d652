// Which kind of stream some first bytes belong to, and the indexer for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "Indexer/Indexer.h"

namespace Vexmora {

enum class MediaType { Unsupported, ElementaryVideo, ProgramStream, TransportStream };

/// How many first bytes of a stream tell its type.
inline constexpr std::size_t kMediaTypeBytes = 5;

/// The type of a stream that begins with inFirstBytes; Unsupported when there are fewer than kMediaTypeBytes.
MediaType ClassifyMedia(std::span<const std::uint8_t> inFirstBytes);

/// A new indexer for streams of that type; null for Unsupported. Throws std::bad_alloc.
std::unique_ptr<PureVideoIndexer> MakeIndexer(MediaType inType);

}  // namespace Vexmora
