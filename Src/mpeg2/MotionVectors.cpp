// Motion vectors (ISO/IEC 13818-2, 7.6.3).
#include "mpeg2/MotionVectors.h"

#include <cstdlib>

namespace Vexmora {
namespace {

bool ReadFlag(BitWindow& ioBits) {
    const bool isSet = ioBits.Show(1) != 0;
    ioBits.Skip(1);
    return isSet;
}

// dmvector
std::int32_t ReadDualPrimeDifference(BitWindow& ioBits) {
    if (!ReadFlag(ioBits)) return 0;
    return ReadFlag(ioBits) ? -1 : 1;
}

}  // namespace

// The window is kept at hand for all vectors.
DecodeStatus MotionVectorDecoder::Decode(Prediction& ioPrediction) {
    BitWindow bits = mReader.Bits();
    const DecodeStatus status = DecodeVectors(bits, ioPrediction);
    mReader.Bits() = bits;
    return status;
}

DecodeStatus MotionVectorDecoder::DecodeVectors(BitWindow& ioBits, Prediction& ioPrediction) {
    const std::size_t count = ioPrediction.type == MotionType::Halves ? 2 : 1;
    for (const Direction direction : {kForward, kBackward}) {
        if (!ioPrediction.directions[direction]) continue;
        for (std::size_t vector = 0; vector < count; ++vector) {
            const DecodeStatus status = DecodeVector(ioBits, ioPrediction, vector, direction);
            if (status != DecodeStatus::Ok) return status;
        }
        if (count == 1) mPredictors[1][direction] = mPredictors[0][direction];
    }
    return DecodeStatus::Ok;
}

DecodeStatus MotionVectorDecoder::DecodeConcealment() {
    Prediction unused;
    unused.directions[kForward] = true;
    const DecodeStatus status = Decode(unused);
    if (status != DecodeStatus::Ok) return status;
    return mReader.GetBits(1) != 0 ? DecodeStatus::Ok : DecodeStatus::InvalidData;
}

void MotionVectorDecoder::ResetForwardPredictors() {
    for (auto& vector : mPredictors) vector[kForward] = {};
}

DecodeStatus MotionVectorDecoder::DecodeVector(BitWindow& ioBits, Prediction& ioPrediction,
                                               std::size_t inVector, Direction inDirection) {
    // Predictors count lines of the picture; vectors of a frame's fields count lines of the field.
    const bool isFieldOfFrame = mIsFrame && ioPrediction.type != MotionType::Whole;
    const bool isDualPrime = ioPrediction.type == MotionType::DualPrime;
    if (!isDualPrime && (isFieldOfFrame || !mIsFrame)) {
        ioPrediction.fromBottomField[inVector][inDirection] = ReadFlag(ioBits);
    }
    auto& predictor = mPredictors[inVector][inDirection];
    const auto& fCode = mFCode[inDirection];
    MotionVector& vector = ioPrediction.vectors[inVector][inDirection];

    DecodeStatus status = DecodeComponent(ioBits, fCode[0], predictor[0], vector.x);
    if (status != DecodeStatus::Ok) return status;
    predictor[0] = vector.x;
    const std::int32_t differenceX = isDualPrime ? ReadDualPrimeDifference(ioBits) : 0;

    status = DecodeComponent(ioBits, fCode[1], isFieldOfFrame ? predictor[1] >> 1 : predictor[1], vector.y);
    if (status != DecodeStatus::Ok) return status;
    predictor[1] = isFieldOfFrame ? static_cast<std::int16_t>(vector.y * 2) : vector.y;
    if (isDualPrime) DeriveDualPrimeVectors(ioPrediction, differenceX, ReadDualPrimeDifference(ioBits));
    return DecodeStatus::Ok;
}

// Components wrap within the range of their f_code. Wild f_codes give values beyond 16 bits, which are cut.
DecodeStatus MotionVectorDecoder::DecodeComponent(BitWindow& ioBits, std::uint32_t inFCode,
                                                  std::int32_t inPredictor, std::int16_t& outComponent) {
    if (inFCode == 0) return DecodeStatus::InvalidData;  // no header gave one
    const VlcEntry code = FindVlcEntry(ioBits, mMotionCodeTable);
    const auto length = static_cast<unsigned>(code.length);
    if (length == 0 || !HoldsBits(ioBits, length)) return DecodeStatus::Failed;
    const std::uint32_t r_size = inFCode - 1;
    const std::int32_t motion_code = code.value;
    std::int32_t delta = 0;
    if (motion_code == 0) {
        ioBits.Skip(length);
    } else {
        // motion_residual, at most 14 bits, follows a code of at most 11: it is valid already.
        const auto motion_residual = static_cast<std::int32_t>((ioBits.bits << length >> 1) >> (63 - r_size));
        ioBits.Skip(length + r_size);
        delta = ((std::abs(motion_code) - 1) << r_size) + motion_residual + 1;
        if (motion_code < 0) delta = -delta;
    }
    const std::int32_t range = 32 << r_size;
    std::int32_t component = inPredictor + delta;
    if (component < -range / 2) component += range;
    if (component >= range / 2) component -= range;
    outComponent = static_cast<std::int16_t>(component);
    return DecodeStatus::Ok;
}

// The vector is stretched over the time between the fields; the lines of the two fields lie half a line
// apart.
void MotionVectorDecoder::DeriveDualPrimeVectors(Prediction& ioPrediction, std::int32_t inDifferenceX,
                                                 std::int32_t inDifferenceY) const {
    const MotionVector vector = ioPrediction.vectors[0][kForward];
    const auto derive = [&](std::int32_t inMultiplier, std::int32_t inCorrection) {
        const auto half = [&](std::int32_t in) { return (in * inMultiplier + (in > 0)) >> 1; };
        return MotionVector{static_cast<std::int16_t>(half(vector.x) + inDifferenceX),
                            static_cast<std::int16_t>(half(vector.y) + inDifferenceY + inCorrection)};
    };
    const PictureHeader& picture = mPicture.parameters.picture;
    if (!mIsFrame) {
        ioPrediction.dualPrimeVectors[0] = derive(1, picture.pictureStructure == kTopField ? -1 : 1);
        return;
    }
    const bool isTopFirst = picture.topFieldFirst != 0;
    ioPrediction.dualPrimeVectors[0] = derive(isTopFirst ? 1 : 3, -1);
    ioPrediction.dualPrimeVectors[1] = derive(isTopFirst ? 3 : 1, 1);
}

}  // namespace Vexmora
