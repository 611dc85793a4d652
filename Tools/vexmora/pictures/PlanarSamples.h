// The visible samples of a picture row by row.
#pragma once

#include <cstdint>

#include "VexmoraHost/Picture.h"

namespace VexmoraCommand {

/// Calls inTake(row, bytes) for every visible row of Y, then Cb, then Cr: the planar 4:2:0 layout of raw
/// files.
template <typename Take>
void ForEachRow(const VexmoraHost::Picture& inPicture, const Take& inTake) {
    for (const VexmoraHost::Plane& plane : {inPicture.luma, inPicture.cb, inPicture.cr}) {
        const std::uint8_t* row = plane.samples;
        for (std::uint32_t line = 0; line < plane.height; ++line, row += plane.stride) {
            inTake(row, plane.width);
        }
    }
}

}  // namespace VexmoraCommand
