// An instance of the library that decodes coded pictures from memory.
#pragma once

#include <cstdint>
#include <span>

#include "frames/PlainFile.h"
#include "sources/CodedVideo.h"

namespace VexmoraHost {

/// One thread. See Vexmora_GetFrameFromBuffer.
class BufferInstance {
  public:
    /// @param inLargestFrame bytes of the largest frame that will be decoded.
    /// Throws std::bad_alloc.
    explicit BufferInstance(std::uint32_t inLargestFrame);

    /// Makes this the sequence of the pictures that follow. False when they cannot be decoded: not 4:2:0, a
    /// header that is not valid.
    bool Use(const SequenceParameterSet& inParameters);
    /// Of the planes for pictures of the sequence in use.
    PictureFormat Format() const { return FormatOf(mHandle.get()); }

    /// Where coded bytes are written. What was there before is gone after each Decode.
    std::span<std::uint8_t> Buffer() const { return mBuffer; }
    /// Decodes the picture in the buffer's first inSize bytes. What is damaged is not written.
    Vexmora_Status Decode(std::size_t inSize, unsigned inPictureCodingType,
                          const ReferencePlanes& inReferences, const Vexmora::FramePlanes& outPicture,
                          const DecodeModes& inModes);

  private:
    OwnHandle mHandle;
    std::span<std::uint8_t> mBuffer;
};

}  // namespace VexmoraHost
