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
    static constexpr std::int32_t kWidth = 2 * Traits::kBlockWidth;
    static constexpr std::int32_t kHeight = 2 * Traits::kBlockHeight;
    static constexpr std::size_t kComponents = 3;

    // The planes of a frame or of one of its fields: Y, Cb, Cr; null samples where there are none.
    struct Surface {
        std::array<std::uint8_t*, kComponents> samples{};
        std::ptrdiff_t lumaStep = 0;
        std::ptrdiff_t chromaStep = 0;
        // In luma; chroma has half as many samples and lines.
        std::int32_t width = 0;
        std::int32_t height = 0;
        // Its first line is the second one of the planes.
        bool isBottomField = false;
    };
    // A frame and its fields, indexed by Lines.
    using SurfacesByLines = std::array<Surface, 3>;
    // One piece of a reference that a block is predicted from.
    struct Source {
        const Surface* surface;
        MotionVector vector;
    };
    struct Sources {
        void Add(const Surface& inSurface, const MotionVector& inVector) {
            pieces[count++] = {&inSurface, inVector};
        }
        std::array<Source, 2> pieces;
        std::size_t count = 0;
    };
    // A place in the luma plane of a surface, in samples and lines.
    struct Place {
        std::int32_t x;
        std::int32_t y;
    };
    // A place in a plane, in half samples.
    struct HalfSamplePoint {
        std::int32_t x;
        std::int32_t y;
    };
    // What a block is predicted from in each plane of one reference.
    using References = std::array<ReferenceBlock, kComponents>;

    DecodeStatus PredictFrameMacroblock(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                                        UnpredictedLines& outUnpredicted) const;
    DecodeStatus PredictFieldMacroblock(const Prediction& inPrediction, const MacroblockPosition& inPosition,
                                        UnpredictedLines& outUnpredicted) const;
    Sources FieldSources(const Prediction& inPrediction, std::size_t inVector) const;
    const SurfacesByLines& ForwardField(Lines inField) const;

    DecodeStatus PredictWhole(const Surface& inTarget, const Place& inPlace, const Sources& inSources,
                              UnpredictedLines& outUnpredicted) const;
    template <bool kIsHalf>
    DecodeStatus PredictPart(const Surface& inTarget, const Place& inPlace, const Sources& inSources,
                             bool& outIsUnpredicted) const;
    template <bool kIsHalf, std::size_t kCount>
    DecodeStatus PredictFrom(const Surface& inTarget, const Place& inPlace, const Sources& inSources,
                             bool& outIsUnpredicted) const;
    template <std::int32_t kPartHeight>
    static bool Locate(const Source& inSource, const Place& inPlace, References& outReferences);
    static bool MoveInside(const Place& inMost, std::ptrdiff_t inStep, bool inIsBottomField,
                           HalfSamplePoint& ioPoint);

    SurfacesByLines SurfacesOf(const YV12Frame& inFrame) const;
    static bool HasPlanes(const Surface& inSurface) { return inSurface.samples[0] != nullptr; }

    const PictureContext& mPicture;
    const Lines mLines;
    const SurfacesByLines mForward;
    const SurfacesByLines mBackward;
    const SurfacesByLines mOutput;
};

}  // namespace Vexmora
