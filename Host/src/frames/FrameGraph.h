// What the index says about frames: where their pictures are, and what these are predicted from.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <span>

#include "Vexmora/Vexmora.h"
#include "frames/CodedMedia.h"
#include "frames/FrameRules.h"
#include "frames/MissingAnchors.h"
#include "memory/FrameCache.h"
#include "memory/Memory.h"

namespace VexmoraHost {

/// Where pictures come from. May be copied; what it names outlives its users.
struct FrameSource {
    /// Of the thread that owns the movie.
    PictureReader& reader;
    const CodedMedia& media;
    /// As the index has them.
    std::span<const Vexmora::FrameRecord> records;
    /// Of these records.
    const MissingAnchors& missingAnchors;
    std::uint32_t firstFrame;
    std::uint32_t frameCount;
    std::uint32_t cacheId;
    FrameCache& cache;
    /// For the samples.
    Memory& memory;
    /// Of macroblocks in which the library met an error, too.
    bool concealErrors = false;

    /// The frame whose own picture a record is. Pictures before the first usable one get numbers that no
    /// frame has; they are never handed out.
    std::uint32_t FrameOf(std::int32_t inRecord) const {
        return static_cast<std::uint32_t>(inRecord) - firstFrame;
    }
};

enum Direction : std::size_t { kPast, kFuture };

/// What a picture is predicted from.
struct References {
    Vexmora_Status status = Vexmora_Ok;
    /// kNoRecord where there is none.
    std::array<std::int32_t, 2> records{kNoRecord, kNoRecord};
    /// What a picture of this type is predicted from.
    std::array<bool, 2> isNeeded{};
    /// How many of those cannot be had, or have another picture in their place.
    std::uint32_t lost = 0;
    /// The future reference is predicted from the past one, or is the same.
    bool isPastBehindFuture = false;
};

/// Orders pictures as they are coded.
struct CodingPlace {
    std::uint64_t offset = 0;
    bool isPredictedBothWays = false;
    std::int32_t record = kNoRecord;
    friend auto operator<=>(const CodingPlace&, const CodingPlace&) = default;
};

/// Answers for the records of one source. A reference counts only if it was coded before the picture that
/// names it, so that whatever an index says there are no rings, and the same references for every order of
/// access; one that does not count is lost.
///
/// Numbers of records are those of the index; frames count from the first usable one.
class FrameGraph {
  public:
    explicit FrameGraph(const FrameSource& inSource) : mSource(inSource), mRules(inSource.records) {}

    /// The record whose picture a usable frame shows: its own one or that of the nearest valid frame before,
    /// else behind; kNoRecord when there is none.
    std::int32_t RecordShownAt(std::uint32_t inFrame) const;
    CodingPlace PlaceOf(std::int32_t inRecord) const;
    References FindReferences(std::int32_t inRecord) const;

  private:
    References NameReferences(std::int32_t inRecord) const;

    const FrameSource mSource;
    const FrameRules mRules;
};

}  // namespace VexmoraHost
