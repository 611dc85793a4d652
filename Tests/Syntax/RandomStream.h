// Streams of random pictures: sizes, orders of picture types, frames and fields.
#pragma once

#include <ostream>
#include <vector>

#include "Syntax/RandomPicture.h"

namespace Vexmora::Test {

struct StreamPlan {
    const char* name = "";
    unsigned width = 96;
    unsigned height = 96;
    /// Types of frames in coded order; J is an I frame, of an I and a P field where frames are field pairs.
    const char* types = "";
    enum class Structure { Frames, TopFirst, BottomFirst } structure = Structure::Frames;
    bool hasDualPrime = false;  // only without B pictures
    bool isSparse = false;
    /// Coefficients leave their range.
    bool saturates = false;
    /// Matrices in the sequence header; with either, both kinds in some of the pictures.
    bool loadsIntra = false;
    bool loadsNonIntra = false;

    bool HasFields() const { return structure != Structure::Frames; }
    friend void PrintTo(const StreamPlan& inPlan, std::ostream* outText) { *outText << inPlan.name; }
};
extern const std::vector<StreamPlan> kStreamPlans;

struct RandomStream {
    struct Picture {
        PictureSyntax syntax;
        Bytes bytes;
    };
    Sequence sequence;
    Bytes headers;  // of the sequence, before the first picture
    std::vector<Picture> pictures;

    Bytes All() const;
};
RandomStream MakeRandomStream(const StreamPlan& inPlan, std::uint32_t inSeed, Features& ioFeatures);

/// From VEXMORA_SEED, or always the same; printed.
std::uint32_t SyntaxSeed();

}  // namespace Vexmora::Test
