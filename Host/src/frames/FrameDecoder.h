// Decoding a frame with all that it is predicted from.
#pragma once

#include <cstdint>
#include <filesystem>

#include "VexmoraHost/Error.h"
#include "VexmoraHost/Picture.h"
#include "frames/DecodePlan.h"
#include "frames/FrameGraph.h"
#include "frames/PictureDecoder.h"

namespace VexmoraHost {

/// For a frame that the stream does not hold, where no other one stands in.
Error NoPictureFor(std::uint32_t inFrame, const std::filesystem::path& inMovie);

/// Shows the samples of inPicture, which it holds on to, as those of a frame that the stream does not hold.
SharedPicture StandInFor(const SharedPicture& inPicture);

/// Makes pictures of a file at one scale, one after the other in coding order; those that the frame cache has
/// it takes from there, and it offers the others to it. A picture is held until the last one that needs it is
/// decoded, whatever the cache keeps.
class FrameDecoder {
  public:
    FrameDecoder(const FrameSource& inSource, Scale inScale);

    /// The picture of a usable frame, or the one that stands in for it; null when there is none. Throws
    /// std::bad_alloc.
    SharedPicture Frame(std::uint32_t inFrame);

    /// What a plan is to know of a picture.
    DecodePlan::Known LookUp(std::int32_t inRecord) const;
    /// The record whose picture a usable frame shows, kNoRecord when there is none that can be decoded.
    std::int32_t RecordShownAt(std::uint32_t inFrame) const;
    const PictureDecoder& Pictures() const { return mPictures; }

  private:
    SharedPicture Decode(std::int32_t inRecord);

    const FrameSource mSource;
    const FrameGraph mGraph;
    const PictureDecoder mPictures;
};

}  // namespace VexmoraHost
