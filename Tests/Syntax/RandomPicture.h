// Pictures of random macroblocks in which every kind of prediction and coefficient occurs; no encoder at hand
// makes all of them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "Support/Random.h"
#include "Syntax/SyntaxWriter.h"

namespace Vexmora::Test {

/// Weights in raster order.
using Weights = std::array<std::uint8_t, 64>;
struct WeightsInUse {
    std::optional<Weights> intra;  // none: the standard's own, and 16
    std::optional<Weights> nonIntra;
};

/// One coded picture, a frame or a field: its header, its extensions, and what its macroblocks are like.
struct PictureSyntax : PictureFlags {
    PictureSyntax()
        : PictureFlags{
              .f_code = {{{15, 15}, {15, 15}}}, .top_field_first = false, .frame_pred_frame_dct = false} {}

    unsigned temporal_reference = 0;
    unsigned picture_coding_type = kPictureTypeI;
    bool isSecondField = false;
    /// In a quantiser matrix extension.
    WeightsInUse loaded;

    /// Coefficients and what becomes of them may leave their range.
    bool saturates = false;
    bool mayBeDualPrime = false;
    /// There is a reference before the frame, not only the first field.
    bool hasPastFrame = true;
    bool hasSeveralSlicesInRow = false;
    int skipsOneIn = 4;
    bool skipsFar = false;
};

/// The picture from its start code on, for a sequence of that size, of whole macroblocks, two rows at a time.
/// All vectors stay inside the references. inWeights are those in use for the picture.
Bytes WriteRandomPicture(const Sequence& inSequence, const PictureSyntax& inPicture,
                         const WeightsInUse& inWeights, Random& ioRandom, Features& ioFeatures);

/// The load flag of a matrix and, if there is one, the matrix.
void PutWeights(BitWriter& ioBits, const std::optional<Weights>& inWeights);

}  // namespace Vexmora::Test
