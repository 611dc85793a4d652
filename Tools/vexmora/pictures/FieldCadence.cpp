// Laying fields out in time.
#include "pictures/FieldCadence.h"

#include <optional>

namespace VexmoraCommand {

std::uint32_t FieldsShown(const FieldFlags& inFlags) {
    if (!inFlags.repeatFirstField) return 2;
    if (!inFlags.progressiveSequence) return 3;
    return inFlags.topFieldFirst ? 6 : 4;
}

std::vector<ShownFrame> ShowFields(const std::vector<FieldFlags>& inFrames) {
    std::vector<ShownFrame> shown;
    const bool isTopFirst = !inFrames.empty() && inFrames.front().topFieldFirst;
    const auto add = [&](std::uint32_t inFirst, std::uint32_t inSecond) {
        shown.push_back(isTopFirst ? ShownFrame{inFirst, inSecond} : ShownFrame{inSecond, inFirst});
    };
    std::optional<std::uint32_t> first;  // the frame of a field that waits for the other one
    for (std::uint32_t frame = 0; frame < inFrames.size(); ++frame) {
        for (std::uint32_t field = FieldsShown(inFrames[frame]); field > 0; --field) {
            if (first) add(*first, frame);
            first = first ? std::nullopt : std::optional(frame);
        }
    }
    if (first) add(*first, *first);
    return shown;
}

}  // namespace VexmoraCommand
