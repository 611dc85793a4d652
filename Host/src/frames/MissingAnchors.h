// Which pictures are predicted from an anchor (an I or P picture) that the stream has lost without a trace:
// the index names the anchor before it in its place, and the picture decodes without fault, but wrongly.
//
// 1. A B picture is displayed between its two references, or before both at the start of a stream. Is its
//    future reference displayed before it, the right one is lost.
// 2. Between neighbouring anchors the stream holds nothing but B pictures, predicted from both. Where the
// first
//    of these is missing and the anchors are further apart than any that are known to be neighbours, an
//    anchor is missing.
//
// One that was lost within the usual distance, and a run of pictures of which the number in the next group
// follows on, cannot be told from pictures that never were.
#pragma once

#include <cstddef>
#include <span>

#include "Vexmora/Records.h"

namespace VexmoraHost {

class MissingAnchors {
  public:
    /// @param inRecords outlive this.
    explicit MissingAnchors(std::span<const Vexmora::FrameRecord> inRecords);

    /// Whether a picture that the record's is predicted from is lost in one of these ways.
    bool AreMissedBy(std::size_t inRecord) const;

  private:
    // The anchors on both sides of the pictures that belong between them.
    struct Gap {
        std::size_t past = 0;
        std::size_t future = 0;

        std::size_t Distance() const { return future > past ? future - past : 0; }
        friend bool operator==(const Gap&, const Gap&) = default;
    };
    Gap GapOf(std::size_t inRecord) const;
    bool MayHideAnchor(const Gap& inGap) const;

    std::span<const Vexmora::FrameRecord> mRecords;
    std::size_t mLongestDistance = 0;  // of neighbouring anchors
};

}  // namespace VexmoraHost
