// The coded blocks of a macroblock: from their bits to samples of the output picture or to a residual.
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
    /// Decodes the blocks named by inPattern, a coded_block_pattern. The residual lives until the next call.
    DecodeStatus DecodeResidual(std::uint32_t inPattern, bool inIsFieldDct, MacroblockResidual& outResidual);
    /// Makes the macroblock a saturated red.
    DecodeStatus PaintError(const MacroblockPosition& inPosition) const;

  private:
    using Traits = ScaleTraits<kScale>;
    static constexpr int kBlockWidth = Traits::kBlockWidth;
    static constexpr int kBlockHeight = Traits::kBlockHeight;
    static constexpr std::size_t kBlockSamples = kBlockWidth * kBlockHeight;
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

    Target TargetAt(const MacroblockPosition& inPosition) const;
    static BlockPlace PlaceOf(std::size_t inLumaBlock, bool inIsFieldDct);
    DecodeStatus DecodeIntraBlock(const IntraBlockCoding& inCoding, std::int16_t& ioDcPredictor,
                                  std::uint8_t* outSamples, std::ptrdiff_t inStep);
    DecodeStatus DecodeNonIntraBlock(const NonIntraBlockCoding& inCoding, std::int16_t* outSamples,
                                     std::ptrdiff_t inStepBytes);
    static void ClearBlock(std::int16_t* outSamples, const BlockPlace& inPlace);

    const PictureContext& mPicture;
    BitReader& mReader;
    IntraBlockCoding mIntraLuma;
    IntraBlockCoding mIntraChroma;
    NonIntraBlockCoding mNonIntraLuma;
    NonIntraBlockCoding mNonIntraChroma;
    std::array<std::int16_t, 3> mDcPredictors{};

    CoefficientBlock mCoefficients;
    alignas(32) std::array<std::int16_t, kLumaBlocks * kBlockSamples> mLumaResidual;
    alignas(32) std::array<std::int16_t, kBlockSamples> mCbResidual;
    alignas(32) std::array<std::int16_t, kBlockSamples> mCrResidual;
};

}  // namespace Vexmora
