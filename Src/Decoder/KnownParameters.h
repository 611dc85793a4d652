// What is known of the sequence parameters in force along a file, for all handles that have it open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "Decoder/CodedOrder.h"
#include "mpeg2/Parameters.h"

namespace Vexmora {

/// The parameters in front of each picture in coded order, as far as the pictures before it have been read.
/// They depend on nothing but the file and its index, so what one handle has found out holds for all. Takes
/// room for each change, not for each picture. Any thread.
class KnownParameters {
  public:
    /// The one of all handles that have the same index of the file with that cache id; 0: one of its own.
    [[nodiscard]] static std::shared_ptr<KnownParameters> Of(std::uint32_t inCacheId,
                                                             const std::vector<FrameRecord>& inRecords);

    const CodedOrder& Order() const { return mOrder; }
    /// Those in front of the picture at inRank, of which there is one more than pictures: behind the last.
    std::optional<SequenceParameters> At(std::size_t inRank) const;
    bool IsKnown(std::size_t inRank) const;
    /// inParameters are in force in front of all pictures from inFirst to inLast.
    void Note(std::size_t inFirst, std::size_t inLast, const SequenceParameters& inParameters);

  private:
    KnownParameters(std::uint32_t inCacheId, const std::vector<FrameRecord>& inRecords)
        : mCacheId(inCacheId), mOrder(inRecords) {}

    static std::shared_ptr<KnownParameters> FindOpen(std::uint32_t inCacheId,
                                                     const std::vector<FrameRecord>& inRecords);
    const SequenceParameters* Find(std::size_t inRank) const;
    std::size_t IndexOf(const SequenceParameters& inParameters);

    const std::uint32_t mCacheId;
    const CodedOrder mOrder;
    mutable std::mutex mLock;  // of all below
    /// Ranks that are known, from the key to the value, both included. Between any two of them lie others.
    std::map<std::size_t, std::size_t> mRanges;
    /// At the begin of each range, and wherever the parameters in it change: which of mDistinct there are.
    std::map<std::size_t, std::size_t> mChanges;
    std::vector<SequenceParameters> mDistinct;
};

}  // namespace Vexmora
