// Reads an elementary stream.
#pragma once

#include <cstdint>

#include "sources/ByteWindow.h"
#include "sources/VideoReader.h"

namespace VexmoraHost {

class ElementaryReader final : public VideoReader {
  public:
    ElementaryReader(const JoinedFiles& inFiles, std::uint64_t inBegin)
        : mWindow(inFiles, kBlockBytes), mPosition(inBegin) {}
    void Seek(std::uint64_t inPosition) override { mPosition = inPosition; }
    bool Next(VideoPiece& outPiece) override {
        const auto bytes = mWindow.At(mPosition, kBlockBytes);
        outPiece = {.position = mPosition, .bytes = bytes};
        mPosition += bytes.size();
        return !bytes.empty();
    }

  private:
    static constexpr std::size_t kBlockBytes = 64 << 10;

    ByteWindow mWindow;
    std::uint64_t mPosition;
};

}  // namespace VexmoraHost
