// Video of random macroblocks in which every kind of prediction occurs; no encoder at hand makes all of them.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

inline constexpr Sequence kRandomSequence{.width = 96, .height = 128};

/// One coded picture: a frame or a field.
struct CodedPicture {
    unsigned temporal_reference = 0;
    unsigned picture_coding_type = 1;
    unsigned picture_structure = 3;
    bool concealment_motion_vectors = false;
    bool topFieldFirst = true;
    unsigned height = kRandomSequence.height;  // of the sequence, which is interlaced
    Bytes bytes;                               // from the picture start code on
};

/// A sequence header and its extension.
Bytes RandomVideoHeaders(unsigned inHeight = kRandomSequence.height);
/// Adds random slices to a picture of such a sequence, behind its headers. All vectors stay inside the coded
/// picture.
void AddRandomSlices(std::mt19937& ioRandom, CodedPicture& ioPicture);

}  // namespace Vexmora::Test
