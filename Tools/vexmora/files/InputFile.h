// A regular file opened for a look at its start.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace VexmoraCommand {

/// Refuses whatever is not a regular file before opening it: opening a pipe could wait for ever.
class InputFile {
  public:
    /// Throws CommandError (Failed).
    explicit InputFile(const std::string& inFile);

    /// The first inBytes bytes of the file, or all of it when it is shorter. Throws CommandError (Failed).
    std::vector<std::uint8_t> ReadStart(std::size_t inBytes);

  private:
    struct Close {
        void operator()(std::FILE* inStream) const { std::fclose(inStream); }
    };

    std::string mFile;
    std::unique_ptr<std::FILE, Close> mStream;
};

}  // namespace VexmoraCommand
