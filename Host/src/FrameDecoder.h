// Decoding a frame with all that it is predicted from.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "LostAnchors.h"
#include "PictureLayout.h"
#include "Vexmora/Vexmora.h"
#include "VexmoraHost/FrameCache.h"
#include "VexmoraHost/Picture.h"
#include "VexmoraHost/PlanePool.h"

namespace VexmoraHost {

/// Where pictures come from. What it names outlives its users.
struct FrameSource {
    Vexmora_Handle handle;
    /// As the handle has them.
    std::span<const Vexmora::FrameRecord> records;
    std::uint32_t firstFrame;
    std::uint32_t frameCount;
    Vexmora::FileInfo info;
    std::uint32_t cacheId;
    FrameCache& cache;
    PlanePool& pool;
};

/// Makes pictures of a file at one scale.
///
/// 1. The pictures that the wanted one is predicted from, and those that these are predicted from, are
///    collected, back to those in the cache. A reference counts only if it was coded before the picture that
///    names it, so that whatever an index says there are no rings, and the same references for every order of
///    access; one that does not count is lost.
/// 2. Those that the cache lacks are decoded in coding order. A picture is held until the last one that needs
///    it is decoded, whatever the cache keeps.
///
/// Numbers of records are those of the index; frames count from the first usable one.
class FrameDecoder {
  public:
    FrameDecoder(const FrameSource& inSource, Scale inScale);

    /// The picture of a usable frame, or the one that stands in for it; null when there is none. Throws
    /// std::bad_alloc.
    SharedPicture Frame(std::uint32_t inFrame);

  private:
    static constexpr std::int32_t kNone = 0x7FFFFFFF;
    enum Direction : std::size_t { kPast, kFuture };

    // What a picture is predicted from.
    struct References {
        Vexmora_Status status = Vexmora_Ok;
        // kNone where there is none.
        std::array<std::int32_t, 2> records{kNone, kNone};
        // What a picture of this type is predicted from.
        std::array<bool, 2> isNeeded{};
        // How many of those cannot be had, or have another picture in their place.
        std::uint32_t lost = 0;
    };
    struct Link {
        References references;
        // Pictures yet to be decoded that need this one.
        std::uint32_t users = 0;
        SharedPicture picture;
    };

    bool IsValid(std::int32_t inRecord) const;
    std::uint32_t FrameOf(std::int32_t inRecord) const;
    bool IsCodedBefore(std::int32_t inRecord, std::int32_t inOther) const;
    std::optional<std::uint32_t> FindStandIn(std::uint32_t inFrame) const;
    References FindReferences(std::int32_t inRecord) const;

    SharedPicture Obtain(std::int32_t inRecord);
    std::vector<std::int32_t> Collect(std::int32_t inRecord);
    void Release(const References& inReferences);

    SharedPicture Decode(std::int32_t inRecord, const References& inReferences) const;
    std::array<Vexmora::FramePlanes, 2> ReferencePlanes(const References& inReferences,
                                                        PlaneMemory& ioGrey) const;
    std::uint64_t InheritedDamage(const References& inReferences) const;
    const PictureDamage& DamageOf(std::int32_t inRecord) const;

    FrameCache::Key KeyOf(std::int32_t inRecord) const;
    SharedPicture FindInCache(std::int32_t inRecord) const;
    void Keep(std::int32_t inRecord, const SharedPicture& inPicture) const;

    const FrameSource& mSource;
    const PictureLayout mLayout;
    const LostAnchors mLostAnchors;
    std::unordered_map<std::int32_t, Link> mChain;
};

}  // namespace VexmoraHost
