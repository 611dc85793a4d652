// Forming predictions from reference pictures (ISO/IEC 13818-2, 7.6) and writing them to the output picture.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/MotionVectors.h"
#include "mpeg2/PictureContext.h"
#include "mpeg2/ScaleTraits.h"

namespace Vexmora {

/// What is added to the prediction of a macroblock. The samples of each plane lie without gaps; a plane
/// without any has a null pointer.
struct MacroblockResidual {
    const std::int16_t* luma = nullptr;
    const std::int16_t* cb = nullptr;
    const std::int16_t* cr = nullptr;
};

/// Predicts the macroblocks of one picture at one scale. A block that would begin before its reference plane
/// is not predicted, and keeps what the output held; whatever else would leave the plane is moved inside.
template <DecodeScale kScale>
class MotionCompensation {
  public:
    explicit MotionCompensation(const PictureContext& inPicture);

    /// Predicts and writes the macroblock at inPosition, which lies in the picture. Failed if a reference is
    /// missing.
    DecodeStatus Predict(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                         const MacroblockResidual& inResidual) const;
    /// Writes a skipped macroblock of a P picture. Failed if the reference is missing.
    DecodeStatus CopySkipped(const MacroblockPosition& inPosition) const;

  private:
    using Traits = ScaleTraits<kScale>;
    // One piece of a reference that a block is predicted from.
    struct Source {
        const YV12Frame* frame = nullptr;
        Lines lines = Lines::Frame;
        MotionVector vector;
    };
    // A part of the macroblock that is predicted as one block a plane.
    struct Part {
        Lines lines = Lines::Frame;
        // First line, counted in those lines, in halves of a macroblock.
        std::int32_t halfRow = 0;
        bool isHalf = false;
        // The part's place in the residual of the macroblock.
        std::int32_t firstResidualLine = 0;
        std::int32_t residualLineStep = 1;
        std::array<Source, 2> sources{};
        std::size_t sourceCount = 0;
    };
    // One plane of a frame or of a field of it, in samples.
    struct Plane {
        std::uint8_t* samples;
        std::ptrdiff_t step;
        std::int32_t width;
        std::int32_t height;
    };
    // A block in a plane, in samples and lines of the plane.
    struct Area {
        std::int32_t x;
        std::int32_t y;
        std::int32_t width;
        std::int32_t height;
    };
    enum Component : std::size_t { kLuma, kCb, kCr };
    static constexpr std::size_t kComponents = 3;
    using References = std::array<std::array<ReferenceBlock, kComponents>, 2>;

    DecodeStatus PredictFrameMacroblock(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                                        const MacroblockResidual& inResidual) const;
    DecodeStatus PredictFieldMacroblock(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                                        const MacroblockResidual& inResidual) const;
    void AddFieldSources(const Prediction& inPrediction, std::size_t inVector, Part& ioPart) const;
    const YV12Frame& ForwardField(Lines inField) const;

    DecodeStatus PredictPart(const Part& inPart, const MacroblockPosition& inPosition,
                             const MacroblockResidual& inResidual) const;
    bool Locate(const Source& inSource, const Part& inPart, const MacroblockPosition& inPosition,
                std::array<ReferenceBlock, kComponents>& outBlocks) const;
    DecodeStatus WriteBlock(Component inComponent, const Part& inPart, const MacroblockPosition& inPosition,
                            const References& inReferences, const std::int16_t* inResidual) const;
    static Area AreaOf(Component inComponent, const Part& inPart, const MacroblockPosition& inPosition);
    Plane PlaneOf(const YV12Frame& inFrame, Lines inLines, Component inComponent) const;

    const PictureContext& mPicture;
    const Lines mLines;
    const PlanePitches mPitches;
    const std::int32_t mPlaneRows;  // of macroblocks
};

}  // namespace Vexmora
