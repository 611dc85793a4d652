// The coded blocks of a macroblock: from their bits to samples of the output picture.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/BitReader.h"
#include "mpeg2/MotionCompensation.h"
#include "mpeg2/PictureContext.h"
#include "mpeg2/QuantisationTables.h"
#include "mpeg2/ScaleTraits.h"

namespace Vexmora {

/// Decodes the blocks of one slice's macroblocks at one scale. The reader outlives it.
template <DecodeScale kScale>
class MacroblockBlocks {
  public:
    MacroblockBlocks(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                     BitReader& ioReader);

    /// From the next block on; inCode is 0 to 31.
    void SetQuantiserScaleCode(std::uint32_t inCode);
    void ResetDcPredictors() {
        mDcPredictors.fill(static_cast<std::int16_t>(mPicture.parameters.constants.dcReset));
    }

    /// Decodes six intra blocks and writes them to the output.
    DecodeStatus DecodeIntra(const MacroblockPosition& inPosition, bool inIsFieldDct);
    /// Decodes the blocks named by inPattern, a coded_block_pattern, and adds them to the prediction that the
    /// output holds. Lines without one stay as they are.
    DecodeStatus AddResidual(std::uint32_t inPattern, const MacroblockPosition& inPosition, bool inIsFieldDct,
                             const UnpredictedLines& inUnpredicted);
    /// Makes the macroblock a saturated red.
    DecodeStatus PaintError(const MacroblockPosition& inPosition) const;

  private:
    using Traits = ScaleTraits<kScale>;
    static constexpr int kBlockWidth = Traits::kBlockWidth;
    static constexpr int kBlockHeight = Traits::kBlockHeight;

    // The macroblock's samples in the output.
    struct Target {
        PixelBlock luma;
        PixelBlock cb;
        PixelBlock cr;
    };
    // Where the blocks begin, and the bytes from row to row of luma ones; those of chroma are the target's.
    struct Places {
        std::array<std::uint8_t*, kBlocks> samples;
        std::ptrdiff_t lumaStep;
        std::ptrdiff_t chromaStep;
        std::ptrdiff_t StepOf(std::size_t inBlock) const {
            return inBlock < kLumaBlocks ? lumaStep : chromaStep;
        }
    };

    static Target FirstTarget(const PictureContext& inPicture);
    Target TargetAt(const MacroblockPosition& inPosition) const;
    static Places PlacesIn(const Target& inTarget, bool inIsFieldDct);
    DecodeStatus AddBlocks(std::uint32_t inPattern, const Target& inTarget, bool inIsFieldDct);

    const PictureContext& mPicture;
    BitReader& mReader;
    const Target mFirstTarget;  // of the macroblock in the upper left corner
    const QuantisationTables& mQuantisation;
    IntraCoding mIntra;
    NonIntraCoding mNonIntra;
    std::array<std::int16_t, 3> mDcPredictors{};
    CoefficientBlocks mCoefficients;
};

}  // namespace Vexmora
