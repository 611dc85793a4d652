// The pictures of an index in the order in which they are coded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Vexmora/Records.h"

namespace Vexmora {

/// A valid record and its display index.
struct CodedPicture {
    FrameRecord record;
    std::uint32_t frame;
};

/// The valid records of an index by offset; pictures that begin in one packet, by their ends.
class CodedOrder {
  public:
    explicit CodedOrder(const std::vector<FrameRecord>& inRecords);

    std::size_t Size() const { return mPictures.size(); }
    const CodedPicture& operator[](std::size_t inRank) const { return mPictures[inRank]; }
    /// The place of frame inFrame, whose record inRecord is valid.
    std::size_t RankOf(std::uint32_t inFrame, const FrameRecord& inRecord) const;
    /// How many pictures of the same temporal_reference and picture_coding_type begin in the same packet
    /// before this one.
    std::size_t AlikeBefore(std::size_t inRank) const;
    /// Whether this is the order of these records.
    bool IsOf(const std::vector<FrameRecord>& inRecords) const;

  private:
    std::vector<CodedPicture> mPictures;
};

}  // namespace Vexmora
