// One or several files, read as one run of bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "system/Posix.h"

namespace VexmoraHost {

/// The parts of a recording in their order. A packet or a picture may lie across the cut between two of them.
/// Any number of threads may read at once. Functions throw Error.
class JoinedFiles {
  public:
    /// @param inPaths of regular files, at least one; all stay open.
    explicit JoinedFiles(const std::vector<std::filesystem::path>& inPaths);

    /// The same files as if they ended after inBytes.
    JoinedFiles First(std::uint64_t inBytes) const;
    /// The same files, of which inWatch is told every position before it is read; what it throws ends the
    /// reading.
    JoinedFiles Watched(std::function<void(std::uint64_t inPosition)> inWatch) const;

    /// Bytes of all files together.
    std::uint64_t Size() const { return mSize; }
    /// The files in their order.
    const std::deque<Posix::InputFile>& Files() const { return *mFiles; }
    /// Fills outBytes from inPosition on, and answers how many there were: fewer only at the end.
    std::size_t ReadAt(std::uint64_t inPosition, std::span<std::uint8_t> outBytes) const;

    /// Lets the system read well ahead: the files are about to be read from start to end.
    void ExpectSequentialReads() const noexcept;

    /// A byte of the recording by its file.
    struct Place {
        std::size_t file;
        std::uint64_t offset;
    };
    /// @param inPosition less than Size().
    Place PlaceOf(std::uint64_t inPosition) const;

  private:
    std::shared_ptr<const std::deque<Posix::InputFile>> mFiles;  // a deque, for they do not move
    std::vector<std::uint64_t> mBegins;                          // position of each file's first byte
    std::uint64_t mSize = 0;
    std::function<void(std::uint64_t)> mWatch;
};

}  // namespace VexmoraHost
