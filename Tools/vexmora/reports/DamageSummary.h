// What was wrong with the frames that a command has shown or written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "CommandError.h"
#include "VexmoraHost/Picture.h"

namespace VexmoraCommand {

/// Counts the frames that are not what the stream's maker encoded.
class DamageSummary {
  public:
    std::uint64_t Frames() const { return mFrames; }
    void Note(std::uint32_t inFrame, const VexmoraHost::Picture& inPicture);

    /// Tells of them on standard error, if there are any. @return Failed then, else Done.
    ExitStatus Tell(const std::string& inFile) const;

  private:
    std::uint64_t mFrames = 0;
    std::optional<std::uint32_t> mFirst;
};

}  // namespace VexmoraCommand
