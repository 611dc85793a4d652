// The source of coded video behind a decoder whose host writes the video into the picture buffer itself.
#pragma once

#include <cstdint>

#include "Splitter/Splitter.h"

namespace Vexmora {

/// Splits an elementary stream that the host puts, a piece at a time, at the start of the buffer's memory. A
/// piece is optional headers, a picture start code and the picture: two calls of ReadPicture.
class BufferSplitter final : public Splitter {
  public:
    /// inServices becomes the process's.
    explicit BufferSplitter(const HostServices& inServices);

    /// The bytes that the host has put into the buffer; more than its capacity counts as all of it.
    void SetBufferSize(std::uint32_t inBytes) { mBufferSize = inBytes; }

    /// Always Ok.
    ReadStatus Open() override;
    /// Always Ok: delivers what the last picture left over or, when it left nothing, the host's bytes from
    /// the first one on, up to and including the next picture start code or sequence end code. Bytes without
    /// either are delivered whole, with a picture start code behind them that is not in the table of start
    /// codes.
    ReadStatus ReadPicture(CodedPictureBuffer& ioBuffer) override;

  private:
    std::uint32_t mBufferSize = 0;
};

}  // namespace Vexmora
