// Forming predictions from reference pictures (ISO/IEC 13818-2, 7.6) and writing them to the output picture.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/MotionVectors.h"
#include "mpeg2/PictureContext.h"
#include "mpeg2/ScaleTraits.h"

namespace Vexmora {

/// Lines of a macroblock that no prediction could be formed for: in halves, or one field's in a frame.
struct UnpredictedLines {
    std::array<bool, 2> parts{};
    bool areFields = false;

    bool Any() const { return parts[0] || parts[1]; }
    /// Whether line inLine of inHeight ones is among them.
    bool Holds(std::size_t inLine, std::size_t inHeight) const {
        return parts[areFields ? inLine % 2 : inLine * 2 / inHeight];
    }
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
                         UnpredictedLines& outUnpredicted) const;
    /// Writes a skipped macroblock of a P picture. Failed if the reference is missing.
    DecodeStatus CopySkipped(const MacroblockPosition& inPosition) const;

  private:
    using Traits = ScaleTraits<kScale>;
    // One plane of a frame or of a field of it, in samples.
    struct Plane {
        std::uint8_t* samples;
        std::ptrdiff_t step;
        std::int32_t width;
        std::int32_t height;
    };
    enum Component : std::size_t { kLuma, kCb, kCr };
    static constexpr std::size_t kComponents = 3;
    // The planes of a frame, or of one of its fields.
    using Planes = std::array<Plane, kComponents>;
    // A frame's planes, indexed by Lines.
    using FramePlanesByLines = std::array<Planes, 3>;
    // One piece of a reference that a block is predicted from.
    struct Source {
        const Planes* planes = nullptr;
        bool isBottomField = false;
        MotionVector vector;
    };
    // A part of the macroblock that is predicted as one block a plane.
    struct Part {
        Lines lines = Lines::Frame;
        // First line, counted in those lines, in halves of a macroblock.
        std::int32_t halfRow = 0;
        std::array<Source, 2> sources{};
        std::size_t sourceCount = 0;

        void Add(const FramePlanesByLines& inFrame, Lines inLines, const MotionVector& inVector) {
            sources[sourceCount++] = {&inFrame[static_cast<std::size_t>(inLines)],
                                      inLines == Lines::BottomField, inVector};
        }
    };
    // A block in a plane, in samples and lines of the plane.
    struct Area {
        std::int32_t x;
        std::int32_t y;
        std::int32_t width;
        std::int32_t height;
    };
    // A place in a plane, in half samples.
    struct HalfSamplePoint {
        std::int32_t x;
        std::int32_t y;
    };
    // What a part is predicted from in one reference, indexed by Component.
    using References = std::array<ReferenceBlock, kComponents>;

    DecodeStatus PredictFrameMacroblock(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                                        UnpredictedLines& outUnpredicted) const;
    DecodeStatus PredictFieldMacroblock(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                                        UnpredictedLines& outUnpredicted) const;
    void AddFieldSources(const Prediction& inPrediction, std::size_t inVector, Part& ioPart) const;
    const FramePlanesByLines& ForwardField(Lines inField) const;

    DecodeStatus PredictWhole(const Part& inPart, const MacroblockPosition& inPosition,
                              UnpredictedLines& outUnpredicted) const;
    template <bool kIsHalf>
    DecodeStatus PredictPart(const Part& inPart, const MacroblockPosition& inPosition,
                             bool& outIsUnpredicted) const;
    static bool Locate(const Source& inSource, const Area& inLuma, References& outReferences);
    static bool Contains(const Plane& inPlane, const Area& inArea, const HalfSamplePoint& inPoint);
    static bool MoveInside(const Plane& inPlane, bool inIsBottomField, const Area& inArea,
                           HalfSamplePoint& ioPoint);
    static ReferenceBlock BlockAt(const Plane& inPlane, const HalfSamplePoint& inPoint);
    static PixelBlock PixelsAt(const Plane& inPlane, const Area& inArea);
    static Area WholeLuma(const MacroblockPosition& inPosition);
    static Area ChromaOf(const Area& inLuma);
    FramePlanesByLines PlanesOf(const YV12Frame& inFrame) const;
    static bool HasPlanes(const Planes& inPlanes);

    const PictureContext& mPicture;
    const Lines mLines;
    const FramePlanesByLines mForward;
    const FramePlanesByLines mBackward;
    const FramePlanesByLines mOutput;
};

}  // namespace Vexmora
