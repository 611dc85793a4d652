// Finds out what a video stream is from its first sequence header.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "VexmoraHost/Programs.h"

namespace VexmoraHost {

/// Fed with the bytes of one video stream, from anywhere on.
class SequenceProbe {
  public:
    void Feed(std::span<const std::uint8_t> inBytes);
    /// A sequence header was found, and whether an extension follows it: more bytes tell nothing more.
    bool IsDone() const { return mState == State::Done; }
    /// Enters the codec and the size where they are known. (ISO/IEC 13818-2 demands an extension right behind
    /// the header, ISO/IEC 11172-2 knows none. Without a header: what units of other codecs were met.)
    void Describe(StreamInfo& ioStream) const;

  private:
    enum class State { Searching, InHeader, InExtension, Done };

    void NoteStartCode(std::uint8_t inCode);
    void Read(bool inHasExtension);

    State mState = State::Searching;
    std::uint32_t mLastBytes = 0xFFFFFFFF;
    std::vector<std::uint8_t> mHeader;  // behind the start code, the prefix of the next one included
    std::vector<std::uint8_t> mExtension;
    bool mIsMpeg2 = false;
    bool mSeemsH264 = false;
    bool mSeemsHevc = false;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
};

}  // namespace VexmoraHost
