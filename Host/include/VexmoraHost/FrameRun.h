// Frames one after the other, decoded ahead of their use.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "VexmoraHost/Picture.h"

namespace VexmoraHost {

/// Gives the pictures that Movie::Frame gives for the same frames, in display order, faster: pictures that do
/// not depend on one another are decoded on several processors at once, and further ones while the caller
/// works on those that it was given. See Movie::Run.
class FrameRun {
  public:
    class Workers;

    FrameRun(FrameRun&&) noexcept;
    FrameRun& operator=(FrameRun&&) noexcept;
    /// A run may be left before its end; what is being decoded then is waited for.
    ~FrameRun();

    /// The picture of the next frame; null when all were given. The calling thread takes part in decoding.
    /// Throws Error with Vexmora_NoSuchFrame, and goes on with the frame behind, when there is no picture to
    /// stand in for one that the stream does not hold; std::bad_alloc, this time and always then, when memory
    /// runs out.
    SharedPicture Next();

  private:
    friend class Movie;

    FrameRun(std::filesystem::path inPath, std::unique_ptr<Workers> inWorkers);

    std::filesystem::path mPath;
    std::unique_ptr<Workers> mWorkers;
};

}  // namespace VexmoraHost
