// Fields that are shown more than once: frames as a display makes them of a stream.
#pragma once

#include <cstdint>
#include <vector>

namespace VexmoraCommand {

/// How a coded frame is shown (ISO/IEC 13818-2, 6.3.10).
struct FieldFlags {
    /// progressive_sequence: whole frames are repeated.
    bool progressiveSequence = false;
    bool topFieldFirst = false;
    bool repeatFirstField = false;
};

/// How long a frame is shown, in fields: 2, or 3 with a repeated field; of a progressive sequence 2, 4 or 6.
std::uint32_t FieldsShown(const FieldFlags& inFlags);

/// A frame that is shown: the top field of one coded frame and the bottom field of the same or a
/// neighbouring one.
struct ShownFrame {
    std::uint32_t top = 0;
    std::uint32_t bottom = 0;

    friend bool operator==(const ShownFrame&, const ShownFrame&) = default;
};

/// The frames that are shown of coded frames in display order, by their numbers. Fields of either parity
/// follow one another in turn, from the first field of the first frame on, and each is one of the frame to be
/// shown at that time; a last single one is completed from its own frame.
std::vector<ShownFrame> ShowFields(const std::vector<FieldFlags>& inFrames);

}  // namespace VexmoraCommand
