// Video of random macroblocks in which every kind of prediction occurs; no encoder at hand makes all of them.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// One coded picture: a frame or a field.
struct CodedPicture {
    unsigned temporal_reference = 0;
    unsigned picture_coding_type = 1;
    unsigned picture_structure = 3;
    bool concealment_motion_vectors = false;
    bool topFieldFirst = true;
    Bytes bytes;  // from the picture start code on
};

inline constexpr Sequence kRandomSequence{.width = 96, .height = 128};

/// A sequence header and its extension.
Bytes RandomVideoHeaders();
/// Adds random slices to a picture of kRandomSequence, behind its headers. All vectors stay inside the
/// picture.
void AddRandomSlices(std::mt19937& ioRandom, CodedPicture& ioPicture);

}  // namespace Vexmora::Test
