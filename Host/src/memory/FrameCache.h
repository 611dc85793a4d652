// The decoded pictures of media files that were used lately, shared by all movies of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "VexmoraHost/Picture.h"
#include "memory/LruCache.h"

namespace VexmoraHost {

/// Which picture of which file at which size.
struct FrameKey {
    /// See CacheIdFor.
    std::uint32_t cacheId = 0;
    /// Index of its record; not the frame number, which counts from the first usable frame.
    std::uint32_t record = 0;
    Scale scale = Scale::Full;
    /// Nothing in it, nor in what it is predicted from, is red for an error.
    bool isConcealed = false;

    friend bool operator==(const FrameKey&, const FrameKey&) = default;
    std::size_t Hash() const noexcept {
        const auto place = std::uint64_t{cacheId} << 32 | record;
        return std::hash<std::uint64_t>()(place * 6 + static_cast<std::uint64_t>(scale) * 2 + isConcealed);
    }
};

using FrameCache = LruCache<FrameKey, SharedPicture>;

}  // namespace VexmoraHost
