// A view of a recording that moves along with a reader, over one buffer.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "sources/JoinedFiles.h"

namespace VexmoraHost {

/// Reads a recording by the buffer. Not for several threads; the files must outlive it.
class ByteWindow {
  public:
    /// For one pass through a recording: as much as stays in a processor's cache.
    static constexpr std::size_t kSequentialBytes = 256 << 10;
    /// For a picture here and a picture there.
    static constexpr std::size_t kRandomBytes = 128 << 10;

    ByteWindow(const JoinedFiles& inFiles, std::size_t inBytes) : mFiles(inFiles), mBuffer(inBytes) {}

    const JoinedFiles& Files() const { return mFiles; }

    /// The bytes in hand from inPosition on: inNeeded (at most the size of the buffer) or more, fewer only at
    /// the end of the recording. They stay until the next call.
    std::span<const std::uint8_t> At(std::uint64_t inPosition, std::size_t inNeeded) {
        const bool isInHand =
            inPosition >= mBegin && inNeeded <= mCount && inPosition - mBegin <= mCount - inNeeded;
        if (!isInHand) Fill(inPosition);
        const std::size_t at = std::min<std::uint64_t>(inPosition - mBegin, mCount);
        return {mBuffer.data() + at, mCount - at};
    }

  private:
    // Afterwards the view begins there, or holds all that is left from there on.
    void Fill(std::uint64_t inPosition);

    const JoinedFiles& mFiles;
    std::vector<std::uint8_t> mBuffer;
    std::uint64_t mBegin = 0;  // position of the buffer's first byte
    std::size_t mCount = 0;
};

}  // namespace VexmoraHost
