// Reads the coded bytes of frames out of the packets that they lie in.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "sources/CodedVideo.h"
#include "sources/VideoReader.h"

namespace VexmoraHost {

/// One thread. Reading frames in coded order reads every packet once.
class CodedFrameReader {
  public:
    /// @param inReader for reading anywhere.
    explicit CodedFrameReader(std::unique_ptr<VideoReader> inReader) : mReader(std::move(inReader)) {}

    /// Fills outBytes with the first bytes of the frame, from its picture start code on: at most its size.
    /// False when it is not there any more: data that ended or changed since the scan. Throws Error when the
    /// files cannot be read.
    bool Read(const CodedFrame& inFrame, std::span<std::uint8_t> outBytes);

  private:
    bool GoTo(std::uint64_t inPosition);

    std::unique_ptr<VideoReader> mReader;
    VideoPiece mPiece;  // the last one that was read
    bool mHasPiece = false;
};

}  // namespace VexmoraHost
