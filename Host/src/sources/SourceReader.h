// One thread's way from the records of a scanned video to its pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "frames/CodedMedia.h"
#include "sources/BufferInstance.h"
#include "sources/CodedFrameReader.h"
#include "sources/CodedVideo.h"

namespace VexmoraHost {

class SourceReader : public PictureReader {
  public:
    /// @param inVideo, inFrames see SourceIndex; both outlive this.
    /// Throws std::bad_alloc.
    SourceReader(std::unique_ptr<VideoReader> inReader, const CodedVideo& inVideo,
                 std::span<const std::uint32_t> inFrames, std::uint32_t inLargestFrame);

    /// As for a plain file, Vexmora_Ok says that a frame picture was decoded as far as it is sound.
    /// Vexmora_NoSuchFrame: so were field pictures, but not wholly. Vexmora_Unsupported: nobody decodes its
    /// sequence; Vexmora_NoSequenceHeader: it cannot be read.
    Vexmora_Status Decode(std::int32_t inRecord, const ReferencePlanes& inReferences,
                          const Vexmora::FramePlanes& outPicture, const DecodeModes& inModes) override;

    /// Whether the second field of an I frame, a P picture, has to be predicted from the anchor before: it
    /// cannot be decoded without.
    bool NeedsPast(const CodedFrame& inFrame);

  private:
    Vexmora_Status Fetch(const CodedFrame& inFrame);
    Vexmora_Status DecodeFields(const CodedFrame& inFrame, const ReferencePlanes& inReferences,
                                const Vexmora::FramePlanes& outPicture, const DecodeModes& inModes);

    const CodedVideo& mVideo;
    const std::span<const std::uint32_t> mFrames;
    CodedFrameReader mReader;
    BufferInstance mInstance;
    std::optional<std::uint32_t> mParameters;  // in use
    bool mIsDecodable = false;                 // with them
    std::vector<std::uint8_t> mSecondField;    // its coded bytes
};

}  // namespace VexmoraHost
