// Decoding motion vectors and predicting them from one another within a slice.
#pragma once

#include <array>
#include <cstdint>

#include "mpeg2/PictureContext.h"
#include "primitives/BitCursor.h"

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

/// The bits of macroblock headers.
using HeaderBits = BitCursor<Words::MayEnd>;

/// Reads the vectors of a slice's macroblocks.
class MotionVectorDecoder {
  public:
    explicit MotionVectorDecoder(const PictureContext& inPicture)
        : mPicture(inPicture),
          mMotionCodeTable(inPicture.tables.motionCode),
          mFCode(inPicture.parameters.picture.fCode),
          mIsFrame(inPicture.IsFrame()) {}

    /// Reads the vectors of all directions that ioPrediction has.
    DecodeStatus Decode(HeaderBits& ioBits, Prediction& ioPrediction);
    /// Reads the vector that an intra macroblock may carry, and the marker bit behind it.
    DecodeStatus DecodeConcealment(HeaderBits& ioBits);

    /// The vector that the next one in this direction is predicted from.
    MotionVector Predictor(Direction inDirection) const {
        return {mPredictors[0][inDirection][0], mPredictors[0][inDirection][1]};
    }
    void ResetPredictors() { mPredictors = {}; }
    void ResetForwardPredictors() {
        for (auto& vector : mPredictors) vector[kForward] = {};
    }

  private:
    // [first or second vector][direction][horizontal, vertical]
    using Predictors = std::array<std::array<std::array<std::int16_t, 2>, 2>, 2>;

    DecodeStatus DecodeVector(HeaderBits& ioBits, Prediction& ioPrediction, std::size_t inVector,
                              Direction inDirection);
    bool DecodeComponent(HeaderBits& ioBits, std::uint32_t inFCode, std::int32_t inPredictor,
                         std::int16_t& outComponent) const;
    void DeriveDualPrimeVectors(Prediction& ioPrediction, std::int32_t inDifferenceX,
                                std::int32_t inDifferenceY) const;
    static std::int32_t ReadDualPrimeDifference(HeaderBits& ioBits);

    const PictureContext& mPicture;
    const VlcTable& mMotionCodeTable;
    const std::array<std::array<std::uint32_t, 2>, 2> mFCode;
    const bool mIsFrame;
    Predictors mPredictors{};
};

// Here, so that whoever calls them can keep the bits in registers from one vector to the next.
inline DecodeStatus MotionVectorDecoder::Decode(HeaderBits& ioBits, Prediction& ioPrediction) {
    const std::size_t count = ioPrediction.type == MotionType::Halves ? 2 : 1;
    for (const Direction direction : {kForward, kBackward}) {
        if (!ioPrediction.directions[direction]) continue;
        if (mFCode[direction][0] == 0 || mFCode[direction][1] == 0)
            return DecodeStatus::InvalidData;  // no header gave one
        for (std::size_t vector = 0; vector < count; ++vector) {
            const DecodeStatus status = DecodeVector(ioBits, ioPrediction, vector, direction);
            if (status != DecodeStatus::Ok) return status;
        }
        if (count == 1) mPredictors[1][direction] = mPredictors[0][direction];
    }
    return DecodeStatus::Ok;
}

inline DecodeStatus MotionVectorDecoder::DecodeVector(HeaderBits& ioBits, Prediction& ioPrediction,
                                                      std::size_t inVector, Direction inDirection) {
    // Predictors count lines of the picture; vectors of a frame's fields count lines of the field.
    const bool isFieldOfFrame = mIsFrame && ioPrediction.type != MotionType::Whole;
    const bool isDualPrime = ioPrediction.type == MotionType::DualPrime;
    if (!isDualPrime && (isFieldOfFrame || !mIsFrame)) {
        ioPrediction.fromBottomField[inVector][inDirection] = ioBits.Take(1) != 0;
    }
    auto& predictor = mPredictors[inVector][inDirection];
    const auto& fCode = mFCode[inDirection];
    MotionVector& vector = ioPrediction.vectors[inVector][inDirection];

    if (!DecodeComponent(ioBits, fCode[0], predictor[0], vector.x)) return DecodeStatus::Failed;
    predictor[0] = vector.x;
    const std::int32_t differenceX = isDualPrime ? ReadDualPrimeDifference(ioBits) : 0;

    const unsigned halved = isFieldOfFrame ? 1 : 0;
    if (!DecodeComponent(ioBits, fCode[1], predictor[1] >> halved, vector.y)) return DecodeStatus::Failed;
    predictor[1] = static_cast<std::int16_t>(vector.y * (1 << halved));
    if (isDualPrime) DeriveDualPrimeVectors(ioPrediction, differenceX, ReadDualPrimeDifference(ioBits));
    return DecodeStatus::Ok;
}

// False if the code is not in its table. Wild f_codes give values beyond 16 bits, which are cut.
inline bool MotionVectorDecoder::DecodeComponent(HeaderBits& ioBits, std::uint32_t inFCode,
                                                 std::int32_t inPredictor, std::int16_t& outComponent) const {
    const VlcEntry code = ioBits.Find(mMotionCodeTable);
    if (code.length == 0) return false;
    const auto length = static_cast<unsigned>(code.length);
    const std::int32_t motion_code = code.value;
    const std::int32_t sign = motion_code >> 31;  // -1 or 0
    // A motion_code of 0 has no motion_residual: what follows makes a difference of 0 of it then. Both
    // together have at most 25 bits.
    const std::uint32_t r_size = inFCode - 1;
    const std::uint32_t residual_bits = motion_code == 0 ? 0 : r_size;
    const auto motion_residual =
        static_cast<std::int32_t>((ioBits.Bits() << length >> 1) >> (63 - residual_bits));
    ioBits.Skip(length + residual_bits);
    const std::int32_t magnitude =
        (((motion_code ^ sign) - sign - 1) * (1 << residual_bits)) + motion_residual + 1;
    // Components wrap within the range of their f_code, 32 << r_size.
    const auto component = static_cast<std::uint32_t>(inPredictor + ((magnitude ^ sign) - sign));
    const std::uint32_t above = 27 - r_size;
    outComponent = static_cast<std::int16_t>(static_cast<std::int32_t>(component << above) >> above);
    return true;
}

}  // namespace Vexmora
