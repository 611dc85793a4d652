// The coded blocks of a macroblock: from their bits to samples of the output picture.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/BitReader.h"
#include "mpeg2/MotionCompensation.h"
#include "mpeg2/PictureContext.h"
#include "mpeg2/ScaleTraits.h"

namespace Vexmora {

/// Decodes the blocks of one slice's macroblocks at one scale. The reader outlives it.
template <DecodeScale kScale>
class MacroblockBlocks {
  public:
    MacroblockBlocks(const PictureContext& inPicture, BitReader& ioReader);

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
    static constexpr std::size_t kLumaBlocks = 4;

    // The macroblock's samples in the output.
    struct Target {
        PixelBlock luma;
        PixelBlock cb;
        PixelBlock cr;
    };
    // Where a luma block lies in its macroblock: its first line and column, and the lines from row to row.
    struct BlockPlace {
        std::ptrdiff_t line;
        std::ptrdiff_t column;
        std::ptrdiff_t lineStep;
    };

    static Target FirstTarget(const PictureContext& inPicture);
    Target TargetAt(const MacroblockPosition& inPosition) const;
    static BlockPlace PlaceOf(std::size_t inLumaBlock, bool inIsFieldDct);
    DecodeStatus DecodeIntraBlock(const IntraBlockCoding& inCoding, std::int16_t& ioDcPredictor,
                                  std::uint8_t* outSamples, std::ptrdiff_t inStep);
    DecodeStatus AddNonIntraBlock(const NonIntraBlockCoding& inCoding, std::uint8_t* ioSamples,
                                  std::ptrdiff_t inStep);
    DecodeStatus AddBlocks(std::uint32_t inPattern, const Target& inTarget, bool inIsFieldDct);
    const std::uint16_t* Weights(MatrixSource inSource,
                                 std::array<std::uint16_t, 64>& outInCodingOrder) const;

    const PictureContext& mPicture;
    BitReader& mReader;
    const Target mFirstTarget;  // of the macroblock in the upper left corner
    IntraBlockCoding mIntraLuma;
    IntraBlockCoding mIntraChroma;
    NonIntraBlockCoding mNonIntraLuma;
    NonIntraBlockCoding mNonIntraChroma;
    std::array<std::int16_t, 3> mDcPredictors{};
    std::array<std::array<std::uint16_t, 64>, 4> mWeights;  // of the four kinds of blocks, in coding order

    CoefficientBlock mCoefficients;
};

}  // namespace Vexmora
