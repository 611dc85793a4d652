// The format of each frame of a movie.
#pragma once

#include <cstdint>
#include <optional>

#include "VexmoraHost/Movie.h"
#include "movies/FrameNumbers.h"

namespace VexmoraCommand {

/// As far as it is known without reading the recording once more: a file of which that is not known has one
/// format throughout, or indexing would have found out.
class FrameFormats {
  public:
    /// @param ioMovie outlives this.
    explicit FrameFormats(VexmoraHost::Movie& ioMovie);

    /// Of the picture that a frame shows.
    VexmoraHost::VideoFormat At(std::uint32_t inFrame) const;
    /// The first frame of a range that has another size, shape of samples or rate than the range's first one.
    std::optional<std::uint32_t> ChangeIn(const FrameRange& inRange) const;

  private:
    const VexmoraHost::MovieDetails* mDetails;
    VexmoraHost::VideoFormat mFirst;
};

}  // namespace VexmoraCommand
