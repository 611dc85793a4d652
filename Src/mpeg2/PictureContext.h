// What all slices of a picture share while it is decoded, and how the planes are cut into macroblocks.
#pragma once

#include "mpeg2/DecodeStatus.h"
#include "mpeg2/DecodingTables.h"
#include "mpeg2/Parameters.h"
#include "mpeg2/YV12Frame.h"
#include "primitives/PrimitiveTable.h"

namespace Vexmora {

/// Only read while slices are decoded; the samples behind output are written. The references outlive it.
struct PictureContext {
    bool IsFrame() const { return parameters.picture.pictureStructure == kFramePicture; }
    std::int32_t MacroblockColumns() const { return static_cast<std::int32_t>(parameters.sequence.mbWidth); }
    /// Rows of macroblocks that the picture may have: all that the planes have room for, or every second one
    /// in a field.
    std::int32_t MacroblockRows() const {
        const std::uint32_t rows = PlaneMacroblockRows(parameters.sequence);
        return static_cast<std::int32_t>(IsFrame() ? rows : rows / 2);
    }

    const DecodingParameters& parameters;
    const DecodingTableSet& tables;
    const PrimitiveTable& primitives;
    DecodeScale scale;
    /// The past and the future reference; P pictures need the first one, B pictures both.
    YV12Frame forward;
    YV12Frame backward;
    YV12Frame output;
};

/// Which lines of a frame make up a picture that is predicted or predicted from.
enum class Lines { Frame, TopField, BottomField };

constexpr Lines FieldLines(bool inIsBottom) {
    return inIsBottom ? Lines::BottomField : Lines::TopField;
}
constexpr Lines OtherField(Lines inField) {
    return inField == Lines::TopField ? Lines::BottomField : Lines::TopField;
}
constexpr Lines LinesOf(const PictureHeader& inPicture) {
    if (inPicture.pictureStructure == kFramePicture) return Lines::Frame;
    return FieldLines(inPicture.pictureStructure == kBottomField);
}

/// Where a macroblock lies in its picture, in macroblocks.
struct MacroblockPosition {
    std::int32_t column = 0;
    std::int32_t row = 0;
};

}  // namespace Vexmora
