// Making one picture out of those that it is predicted from.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "VexmoraHost/Picture.h"
#include "frames/FrameGraph.h"
#include "frames/PictureLayout.h"
#include "memory/MemoryBlock.h"

namespace VexmoraHost {

/// A picture to be decoded, and what it is predicted from.
struct PictureTask {
    std::int32_t record = kNoRecord;
    References references = {};
    /// Decoded; null where references has no record.
    std::array<SharedPicture, 2> predictedFrom = {};
};

/// Makes pictures of a source at one scale, and finds those that were made before. Any number of threads may
/// use it.
class PictureDecoder {
  public:
    PictureDecoder(const FrameSource& inSource, Scale inScale);

    /// Of a record's picture. One of no macroblocks cannot be decoded: its sequence header is wild.
    const PictureLayout& LayoutOf(std::int32_t inRecord) const;
    /// That the planes of the largest picture take.
    std::size_t MostBytes() const;

    /// @param ioReader of the source, or another one of the same media; used by no other thread meanwhile.
    /// Throws std::bad_alloc.
    SharedPicture Make(PictureReader& ioReader, const PictureTask& inTask) const;

    /// As the frame cache has it; null when it has not.
    SharedPicture FindInCache(std::int32_t inRecord) const;
    /// Offers a picture to the frame cache.
    void Keep(std::int32_t inRecord, const SharedPicture& inPicture) const;

  private:
    std::array<Vexmora::FramePlanes, 2> PlanesOfReferences(const PictureTask& inTask,
                                                           MemoryBlock& ioGrey) const;
    std::uint64_t InheritedDamage(const PictureTask& inTask) const;
    FrameCache::Key KeyOf(std::int32_t inRecord) const;

    const FrameSource mSource;
    const std::vector<PictureLayout> mLayouts;  // of the formats
};

}  // namespace VexmoraHost
