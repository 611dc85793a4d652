// Reads the video of a program stream.
#pragma once

#include <cstdint>

#include "sources/ProgramPackets.h"
#include "sources/VideoReader.h"

namespace VexmoraHost {

class ProgramReader final : public VideoReader {
  public:
    /// @param ioAccount null when no books are kept.
    ProgramReader(const JoinedFiles& inFiles, std::uint64_t inBegin, std::uint8_t inStreamId,
                  StreamAccount* ioAccount);
    void Seek(std::uint64_t inPosition) override;
    bool Next(VideoPiece& outPiece) override;

  private:
    void NoteOther(const ProgramPacket& inPacket);

    ProgramWalk mWalk;
    const std::uint64_t mBegin;
    const std::uint8_t mStreamId;
    StreamAccount* const mAccount;
    bool mIsAfterLoss = false;
};

}  // namespace VexmoraHost
