// A regular file, and a look at its start.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace VexmoraCommand {

/// Refuses whatever is not a regular file: opening a pipe could wait for ever. Opened only to be read.
class InputFile {
  public:
    /// Throws CommandError (Failed).
    explicit InputFile(const std::string& inFile);

    /// The first inBytes bytes of the file, or all of it when it is shorter. Throws CommandError (Failed).
    std::vector<std::uint8_t> ReadStart(std::size_t inBytes) const;

  private:
    std::string mFile;
};

}  // namespace VexmoraCommand
