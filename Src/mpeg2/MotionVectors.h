// Decoding motion vectors and predicting them from one another within a slice.
#pragma once

#include <array>
#include <cstdint>

#include "mpeg2/BitReader.h"
#include "mpeg2/PictureContext.h"

namespace Vexmora {

/// In half samples.
struct MotionVector {
    std::int16_t x = 0;
    std::int16_t y = 0;
};

/// How a macroblock is predicted (ISO/IEC 13818-2, tables 6-17 and 6-18).
enum class MotionType {
    /// All of it by one vector: frame prediction, or field prediction in a field picture.
    Whole,
    /// Two vectors: one for each field of a frame macroblock, or for the upper and the lower half of a field
    /// macroblock.
    Halves,
    /// Averaged from both fields by one vector and small differences.
    DualPrime,
};

enum Direction : std::uint32_t { kForward = 0, kBackward = 1 };

/// A macroblock's prediction; without a direction there is none.
struct Prediction {
    MotionType type = MotionType::Whole;
    std::array<bool, 2> directions{};
    /// [first or second vector][direction]
    std::array<std::array<MotionVector, 2>, 2> vectors{};
    /// Predicted from the bottom field; not for frame prediction and dual prime.
    std::array<std::array<bool, 2>, 2> fromBottomField{};
    /// From the field of other parity, for the top and the bottom field; the first one in field pictures.
    std::array<MotionVector, 2> dualPrimeVectors{};
};

/// Reads the vectors of a slice's macroblocks. The reader outlives it.
class MotionVectorDecoder {
  public:
    MotionVectorDecoder(const PictureContext& inPicture, BitReader& ioReader)
        : mPicture(inPicture),
          mMotionCodeTable(inPicture.tables.motionCode),
          mFCode(inPicture.parameters.picture.fCode),
          mIsFrame(inPicture.IsFrame()),
          mReader(ioReader) {}

    /// Reads the vectors of all directions that ioPrediction has.
    DecodeStatus Decode(Prediction& ioPrediction);
    /// Reads the vector that an intra macroblock may carry, and the marker bit behind it.
    DecodeStatus DecodeConcealment();

    /// The vector that the next one in this direction is predicted from.
    MotionVector Predictor(Direction inDirection) const {
        return {mPredictors[0][inDirection][0], mPredictors[0][inDirection][1]};
    }
    void ResetPredictors() { mPredictors = {}; }
    void ResetForwardPredictors();

  private:
    // [first or second vector][direction][horizontal, vertical]
    using Predictors = std::array<std::array<std::array<std::int16_t, 2>, 2>, 2>;

    DecodeStatus DecodeVectors(BitWindow& ioBits, Prediction& ioPrediction);
    DecodeStatus DecodeVector(BitWindow& ioBits, Prediction& ioPrediction, std::size_t inVector,
                              Direction inDirection);
    DecodeStatus DecodeComponent(BitWindow& ioBits, std::uint32_t inFCode, std::int32_t inPredictor,
                                 std::int16_t& outComponent);
    void DeriveDualPrimeVectors(Prediction& ioPrediction, std::int32_t inDifferenceX,
                                std::int32_t inDifferenceY) const;

    const PictureContext& mPicture;
    const VlcTable& mMotionCodeTable;
    const std::array<std::array<std::uint32_t, 2>, 2> mFCode;
    const bool mIsFrame;
    BitReader& mReader;
    Predictors mPredictors{};
};

}  // namespace Vexmora
