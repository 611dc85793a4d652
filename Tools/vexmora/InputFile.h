// A regular file opened for reading from start to end.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace Vexmora {

/// Refuses whatever is not a regular file before opening it: opening a pipe could wait for ever.
class InputFile {
  public:
    /// Throws Problem (Failed).
    explicit InputFile(const std::string& inFile);

    /// Bytes that the file had when it was opened.
    std::uint64_t Size() const { return mSize; }

    /// Fills outBuffer as far as the file goes. @return bytes read; fewer than asked for only at the end.
    /// Throws Problem (Failed).
    std::size_t Read(std::span<std::uint8_t> outBuffer);

  private:
    struct Close {
        void operator()(std::FILE* inStream) const { std::fclose(inStream); }
    };

    std::string mFile;
    std::uint64_t mSize = 0;
    std::unique_ptr<std::FILE, Close> mStream;
};

}  // namespace Vexmora
