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

/// The bits of macroblock headers. The zeros behind a picture end every one of them before it reads beyond.
using HeaderBits = BitCursor<Words::AllThere>;

/// Reads the vectors of a slice's macroblocks.
class MotionVectorDecoder {
  public:
    explicit MotionVectorDecoder(const PictureContext& inPicture)
        : mPicture(inPicture),
          mMotionCodeTable(inPicture.tables.motionCode),
          mCoding{CodingOf(inPicture, kForward), CodingOf(inPicture, kBackward)},
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

    // How the vectors of a direction are coded.
    struct Coding {
        std::array<std::uint32_t, 2> r_size;
        bool isKnown;  // some header said it
        bool isShort;  // both components have 31 bits at most
    };
    static Coding CodingOf(const PictureContext& inPicture, Direction inDirection) {
        constexpr std::uint32_t kLongestCodes = 2 * 11;
        const auto& f_code = inPicture.parameters.picture.fCode[inDirection];
        return {.r_size = {f_code[0] - 1, f_code[1] - 1},
                .isKnown = f_code[0] != 0 && f_code[1] != 0,
                .isShort = kLongestCodes + f_code[0] + f_code[1] - 2 <= 31};
    }

    DecodeStatus DecodeVectors(HeaderBits& ioBits, Prediction& ioPrediction, Direction inDirection);
    bool DecodeVector(HeaderBits& ioBits, Prediction& ioPrediction, std::size_t inVector,
                      Direction inDirection);
    bool DecodeComponent(HeaderBits& ioBits, std::uint32_t inRSize, std::int32_t inPredictor,
                         std::int16_t& outComponent) const;
    void DeriveDualPrimeVectors(Prediction& ioPrediction, std::int32_t inDifferenceX,
                                std::int32_t inDifferenceY) const;
    static std::int32_t TakeDualPrimeDifference(HeaderBits& ioBits);

    const PictureContext& mPicture;
    const VlcTable& mMotionCodeTable;
    const std::array<Coding, 2> mCoding;
    const bool mIsFrame;
    Predictors mPredictors{};
};

// Here, so that whoever calls them can keep the bits in registers from one vector to the next.

inline DecodeStatus MotionVectorDecoder::Decode(HeaderBits& ioBits, Prediction& ioPrediction) {
    for (const Direction direction : {kForward, kBackward}) {
        if (!ioPrediction.directions[direction]) continue;
        const DecodeStatus status = DecodeVectors(ioBits, ioPrediction, direction);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

inline DecodeStatus MotionVectorDecoder::DecodeConcealment(HeaderBits& ioBits) {
    Prediction unused;
    const DecodeStatus status = DecodeVectors(ioBits, unused, kForward);
    if (status != DecodeStatus::Ok) return status;
    return ioBits.Take(1) != 0 ? DecodeStatus::Ok : DecodeStatus::InvalidData;
}

inline DecodeStatus MotionVectorDecoder::DecodeVectors(HeaderBits& ioBits, Prediction& ioPrediction,
                                                       Direction inDirection) {
    if (!mCoding[inDirection].isKnown) return DecodeStatus::InvalidData;
    const std::size_t count = ioPrediction.type == MotionType::Halves ? 2 : 1;
    for (std::size_t vector = 0; vector < count; ++vector) {
        if (!DecodeVector(ioBits, ioPrediction, vector, inDirection)) return DecodeStatus::Failed;
    }
    if (count == 1) mPredictors[1][inDirection] = mPredictors[0][inDirection];
    return DecodeStatus::Ok;
}

// False if a code is not in its table.
inline bool MotionVectorDecoder::DecodeVector(HeaderBits& ioBits, Prediction& ioPrediction,
                                              std::size_t inVector, Direction inDirection) {
    // Predictors count lines of the picture; vectors of a frame's fields count lines of the field.
    const unsigned halved = mIsFrame && ioPrediction.type != MotionType::Whole ? 1 : 0;
    const bool isDualPrime = ioPrediction.type == MotionType::DualPrime;
    if (!isDualPrime && (halved != 0 || !mIsFrame)) {
        ioPrediction.fromBottomField[inVector][inDirection] = ioBits.Show(0, 1) != 0;
        ioBits.Pass(1);
    }
    auto& predictor = mPredictors[inVector][inDirection];
    const Coding& coding = mCoding[inDirection];
    MotionVector& vector = ioPrediction.vectors[inVector][inDirection];

    if (!DecodeComponent(ioBits, coding.r_size[0], predictor[0], vector.x)) return false;
    predictor[0] = vector.x;
    if (!coding.isShort || isDualPrime) ioBits.Refill();
    const std::int32_t differenceX = isDualPrime ? TakeDualPrimeDifference(ioBits) : 0;

    if (!DecodeComponent(ioBits, coding.r_size[1], predictor[1] >> halved, vector.y)) return false;
    predictor[1] = static_cast<std::int16_t>(vector.y * (1 << halved));
    ioBits.Refill();
    if (isDualPrime) DeriveDualPrimeVectors(ioPrediction, differenceX, TakeDualPrimeDifference(ioBits));
    return true;
}

// Passes over 25 bits at most. Wild f_codes give values beyond 16 bits, which are cut.
inline bool MotionVectorDecoder::DecodeComponent(HeaderBits& ioBits, std::uint32_t inRSize,
                                                 std::int32_t inPredictor, std::int16_t& outComponent) const {
    const VlcEntry code = ioBits.Find(mMotionCodeTable);
    if (code.length == 0) return false;
    const auto length = static_cast<unsigned>(code.length);
    const std::int32_t motion_code = code.value;
    std::int32_t delta = 0;
    if (motion_code == 0) {
        ioBits.Pass(length);
    } else {
        const auto motion_residual =
            static_cast<std::int32_t>((ioBits.Bits() << length >> 1) >> (63 - inRSize));
        ioBits.Pass(length + inRSize);
        const std::int32_t sign = motion_code >> 31;  // -1 or 0
        const std::int32_t magnitude =
            (((motion_code ^ sign) - sign - 1) * (1 << inRSize)) + motion_residual + 1;
        delta = (magnitude ^ sign) - sign;
    }
    // Components wrap within the range of their f_code, 32 << r_size.
    const std::uint32_t above = 27 - inRSize;
    const auto component = static_cast<std::uint32_t>(inPredictor + delta) << above;
    outComponent = static_cast<std::int16_t>(static_cast<std::int32_t>(component) >> above);
    return true;
}

// dmvector
inline std::int32_t MotionVectorDecoder::TakeDualPrimeDifference(HeaderBits& ioBits) {
    if (ioBits.Take(1) == 0) return 0;
    return ioBits.Take(1) != 0 ? -1 : 1;
}

}  // namespace Vexmora
