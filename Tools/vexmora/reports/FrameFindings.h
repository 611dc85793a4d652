// What is wrong with the frames of a movie, as decoding every one of them and its index tell.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "VexmoraHost/Movie.h"

namespace VexmoraCommand {

/// What became of a frame; the first that applies, from the end.
enum class Finding {
    Sound,
    /// Decoded without fault, from pictures that are not sound.
    Inherited,
    /// Some of its macroblocks could not be decoded.
    Damaged,
    /// Its picture could not be decoded at all.
    Undecodable,
    /// The stream has no picture for it.
    Missing,
};
inline constexpr std::size_t kFindings = 5;

/// "sound", "inherited", "damaged", "undecodable" or "missing".
std::string_view NameOf(Finding inFinding);

/// Neighbouring frames with the same finding, and for the same reason.
struct FindingRange {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    Finding finding = Finding::Sound;
    /// Of Damaged: macroblocks of these frames that could not be decoded.
    std::uint64_t macroblocks = 0;
    /// Of Undecodable: what the library answered.
    Vexmora_Status status = Vexmora_Ok;
    /// Of Missing: the frame that is shown instead, if there is one.
    std::optional<std::uint32_t> standIn = {};
};

/// Gathers what is found frame by frame.
class FrameFindings {
  public:
    /// @param inFrame one more than in the call before.
    void Add(std::uint32_t inFrame, const VexmoraHost::Picture& inPicture);
    /// A frame that is missing without another one to stand in for it.
    void AddMissing(std::uint32_t inFrame);

    std::uint64_t Count(Finding inFinding) const { return mCounts[static_cast<std::size_t>(inFinding)]; }
    /// Macroblocks of Damaged frames.
    std::uint64_t Macroblocks() const { return mMacroblocks; }
    /// How often the library gave which answer to a picture that the stream holds.
    const std::map<Vexmora_Status, std::uint64_t>& Statuses() const { return mStatuses; }
    /// All frames that are not sound, in order.
    const std::vector<FindingRange>& Ranges() const { return mRanges; }

  private:
    void Append(const FindingRange& inFrame);

    std::array<std::uint64_t, kFindings> mCounts{};
    std::uint64_t mMacroblocks = 0;
    std::map<Vexmora_Status, std::uint64_t> mStatuses;
    std::vector<FindingRange> mRanges;
};

/// What the index alone says about the usable frames and what lies around them.
struct IndexFindings {
    /// Usable frames without a picture, and the runs of them.
    std::uint64_t holes = 0;
    std::uint64_t gaps = 0;
    /// Usable frames of which a picture that they are predicted from is not in the stream.
    std::uint64_t missingReferences = 0;
    /// Usable frames whose group of pictures was cut off from the one before.
    std::uint64_t brokenLinks = 0;
    /// Pictures that no frame number reaches.
    std::uint64_t picturesBefore = 0;
    std::uint64_t picturesBehind = 0;
};

IndexFindings FindInIndex(const VexmoraHost::Movie& inMovie);

}  // namespace VexmoraCommand
