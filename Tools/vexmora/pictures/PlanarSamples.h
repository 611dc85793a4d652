// The visible samples of a picture row by row.
#pragma once

#include <cstddef>
#include <cstdint>

#include "VexmoraHost/Picture.h"

namespace VexmoraCommand {

/// Calls inTake(row, bytes) for every visible row of Y, then Cb, then Cr: the planar 4:2:0 layout of raw
/// files. The even rows are those of inTop, the odd ones those of inBottom, a picture of the same size.
template <typename Take>
void ForEachRow(const VexmoraHost::Picture& inTop, const VexmoraHost::Picture& inBottom, const Take& inTake) {
    using VexmoraHost::Picture;
    for (const auto plane : {&Picture::luma, &Picture::cb, &Picture::cr}) {
        for (std::uint32_t line = 0; line < (inTop.*plane).height; ++line) {
            const VexmoraHost::Plane& from = line % 2 == 0 ? inTop.*plane : inBottom.*plane;
            inTake(from.samples + std::size_t{line} * from.stride, from.width);
        }
    }
}

template <typename Take>
void ForEachRow(const VexmoraHost::Picture& inPicture, const Take& inTake) {
    ForEachRow(inPicture, inPicture, inTake);
}

}  // namespace VexmoraCommand
