// Finds the coded frames of a video stream, and the sequence parameters in force for each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>

#include "sources/CodedVideo.h"
#include "sources/SequenceSyntax.h"
#include "sources/VideoReader.h"

namespace VexmoraHost {

/// Scans one elementary stream that arrives in pieces, once, from its start to its end. However the same
/// bytes are cut into pieces, the result is the same but for CodedFrame::position and skip. One thread. Never
/// fails on bad data; throws std::bad_alloc.
class VideoScanner {
  public:
    /// More is no picture (ISO/IEC 13818-2, 8: the largest buffer of any level is smaller); a frame is cut
    /// here.
    static constexpr std::uint32_t kLargestFrame = std::uint32_t{16} << 20;

    /// Scans the next bytes of the stream; keeps no reference to them.
    void Add(const VideoPiece& inPiece);
    /// Ends the stream. To be called once; pictures before the first sequence header are none.
    CodedVideo Finish();

  private:
    // Of any header that is looked at, behind its start code: a quantiser matrix extension with four
    // matrices.
    static constexpr std::size_t kMostHeaderBytes = 257;
    static constexpr std::uint64_t kNowhere = std::numeric_limits<std::uint64_t>::max();

    // The last pieces, as far as a start code may reach back. Offsets count the bytes of the video.
    struct PieceBegin {
        std::uint64_t offset = kNowhere;
        std::uint64_t position = 0;
    };
    struct TimeStamp {
        std::uint64_t offset = kNowhere;
        std::int64_t pts = kNoTime;
    };
    // A picture whose headers are still being read.
    struct Picture {
        std::uint64_t begin = 0;
        CodedFrame frame = {};
        bool hasExtension = false;
        std::optional<SequenceSyntax> matrices = {};  // with those that its extensions load
    };

    void NoteLoss();
    void Collect(std::span<const std::uint8_t> inBytes);
    void HandleStartCode(std::uint8_t inCode, std::uint64_t inOffset);
    void BeginPicture(std::uint64_t inOffset);
    std::int64_t TakeTime(std::uint64_t inOffset);
    void EndHeader(std::uint64_t inOffset);
    void EndPictureHeader(std::span<const std::uint8_t> inHeader);
    void EndGroupHeader(std::span<const std::uint8_t> inHeader);
    void EndExtension(std::span<const std::uint8_t> inHeader);
    void EndPictureCodingExtension(std::span<const std::uint8_t> inHeader);
    void EndSequence();
    void EndPicture();
    bool CompletesFrame(const Picture& inPicture) const;
    void CloseFrame(std::uint64_t inOffset);
    std::uint32_t ParametersInForce();

    CodedVideo mVideo;
    std::uint64_t mOffset = 0;            // of the piece in hand
    std::uint32_t mTail = ~0u;            // the last three bytes before it, those of a start code taken out
    std::array<PieceBegin, 4> mPieces{};  // the last ones
    std::size_t mPieceCount = 0;
    TimeStamp mTime;
    TimeStamp mTimeBefore;
    std::uint64_t mLoss = kNowhere;

    // The header that is being collected.
    bool mIsCollecting = false;
    std::uint8_t mHeaderCode = 0;
    std::uint64_t mHeaderBegin = 0;
    std::size_t mHeaderSize = 0;
    std::array<std::uint8_t, kMostHeaderBytes> mHeader{};

    std::optional<SequenceSyntax> mNewSequence;  // while its extensions are being read
    bool mExpectsSequenceExtension = false;
    std::optional<SequenceSyntax> mSequence;
    std::optional<std::uint32_t> mParameters;  // of mSequence
    std::unordered_map<std::string, std::uint32_t> mKnownParameters;

    std::optional<Picture> mPicture;
    CodedFrame mNext;  // the flags and the time code of what lies before the next picture
    std::uint64_t mFrameBegin = 0;
    std::uint64_t mFrameEnd = 0;
    bool mIsFrameOpen = false;
};

}  // namespace VexmoraHost
