// The sequence parameters that a picture of a file is decoded with, wherever decoding begins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Decoder/KnownParameters.h"
#include "Splitter/Splitter.h"
#include "mpeg2/ParameterChange.h"

namespace Vexmora {

/// Finds for each picture the parameters that a decoder has which reads the video from the governing sequence
/// header on: that header, and the quantiser matrix extensions of the pictures from there to this one, in
/// coded order. What is not known yet is read. One thread at a time.
class ParametersByPosition {
  public:
    /// inFirst are those of the file's first sequence header, which governs what no other does. ioSplitter
    /// outlives this.
    ParametersByPosition(Splitter& ioSplitter, const SequenceParameters& inFirst, std::uint32_t inCacheId,
                         const std::vector<FrameRecord>& inRecords)
        : mSplitter(ioSplitter), mFirst(inFirst), mKnown(KnownParameters::Of(inCacheId, inRecords)) {}

    const CodedOrder& Order() const { return mKnown->Order(); }

    /// Those in front of the picture at inRank in coded order. Reads with ioBuffer. Fails when the file
    /// cannot be read or the host has no memory; a picture that is not where its record says changes nothing.
    [[nodiscard]] ReadStatus Find(std::size_t inRank, CodedPictureBuffer& ioBuffer,
                                  SequenceParameters& outParameters);

    /// Notes what the picture at inRank changes, which was read whole into ioBuffer, so that it need not be
    /// read again. May read on with ioBuffer.
    void Learn(std::size_t inRank, CodedPictureBuffer& ioBuffer);

  private:
    ReadStatus ReadFront(CodedPictureBuffer& ioBuffer, SequenceParameters& outParameters);
    ReadStatus ReadChange(std::size_t inRank, CodedPictureBuffer& ioBuffer, ParameterChange& outChange);
    ReadStatus FinishChange(CodedPictureBuffer& ioBuffer, ParameterChange& outChange);

    Splitter& mSplitter;
    const SequenceParameters mFirst;
    const std::shared_ptr<KnownParameters> mKnown;
};

}  // namespace Vexmora
