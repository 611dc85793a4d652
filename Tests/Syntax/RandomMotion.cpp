// Motion vectors (ISO/IEC 13818-2, 7.6.3): all that stay inside the references and inside the range of their
// f_code.
#include <algorithm>

#include "Syntax/RandomMacroblock.h"

namespace Vexmora::Test {
namespace {

constexpr const char* kComponents[2][2]{{"forward horizontal", "forward vertical"},
                                        {"backward horizontal", "backward vertical"}};
constexpr const char* kMotions[]{"whole", "halves", "dual prime"};
constexpr int kTries = 30;

// Division by 2 that rounds to the nearest integer, halves away from zero (4.1).
int HalfRounded(int in) {
    return (in + (in > 0 ? 1 : -1)) / 2;
}

}  // namespace

// For a macroblock with vectors in the directions of ioPrediction.
void RandomMacroblocks::ChooseMotion(Prediction& ioPrediction) {
    if (!mPicture.frame_pred_frame_dct) {
        if (mPicture.mayBeDualPrime && mPicture.hasPastFrame && mRandom.OneIn(3) &&
            ChooseDualPrime(ioPrediction)) {
            return;
        }
        ioPrediction.motion = mRandom.OneIn(2) ? Motion::Halves : Motion::Whole;
    }
    ChooseVectors(ioPrediction);
}

void RandomMacroblocks::ChooseVectors(Prediction& ioPrediction) {
    for (std::size_t vector : {0u, 1u}) {
        for (std::size_t direction : {0u, 1u}) {
            if (!ioPrediction.directions[direction]) continue;
            ioPrediction.vectors[vector][direction] = RandomVector(ioPrediction, vector, direction);
            // Without a past frame there is only the first field, of the other parity.
            ioPrediction.fromBottomField[vector][direction] =
                mPicture.hasPastFrame ? mRandom.OneIn(2) : mPicture.picture_structure == 1;
        }
    }
}

auto RandomMacroblocks::RandomVector(const Prediction& inPrediction, std::size_t inVector,
                                     std::size_t inDirection) -> Vector {
    const bool isFieldOfFrame = mIsFrame && inPrediction.motion != Motion::Whole;
    const bool isLowerHalf = !mIsFrame && inPrediction.motion == Motion::Halves && inVector == 1;
    const int height =
        inPrediction.motion == Motion::Whole || (!mIsFrame && inPrediction.motion != Motion::Halves) ? 16 : 8;
    const int lines = isFieldOfFrame ? mContext.height / 2 : mContext.height;
    const int line = isFieldOfFrame ? mRow * 8 : mRow * 16 + (isLowerHalf ? 8 : 0);
    const auto& f_code = mPicture.f_code[inDirection];
    const auto choose = [this](int inLeast, int inMost, int inRange) {
        return RandomComponent(std::max(inLeast, -inRange), std::min(inMost, inRange - 1));
    };
    // The predictor of a field's vector counts lines of the frame and must stay in the range, too.
    const int verticalRange = (16 << (f_code[1] - 1)) / (isFieldOfFrame ? 2 : 1);
    return {choose(-mColumn * 32, (mContext.width - 16 - mColumn * 16) * 2, 16 << (f_code[0] - 1)),
            choose(-line * 2, (lines - height - line) * 2, verticalRange)};
}

int RandomMacroblocks::RandomComponent(int inLeast, int inMost) {
    switch (mRandom.Between(0, 7)) {
        case 0:
            return inLeast;
        case 1:
            return inMost;
        case 2:
            return 0;
        case 3:
            return std::clamp(mRandom.Between(-3, 3), inLeast, inMost);
        default:
            return mRandom.Between(inLeast, inMost);
    }
}

// False if there is none near by, from which all that is derived lies inside.
bool RandomMacroblocks::ChooseDualPrime(Prediction& ioPrediction) {
    Prediction prediction = ioPrediction;
    prediction.motion = Motion::DualPrime;
    for (int tries = 0; tries < kTries; ++tries) {
        prediction.vectors[0][0] = RandomVector(prediction, 0, 0);
        prediction.dmvector = {mRandom.Between(-1, 1), mRandom.Between(-1, 1)};
        if (!DualPrimeFits(prediction)) continue;
        ioPrediction = prediction;
        return true;
    }
    return false;
}

// The derived vectors of 7.6.3.6.
bool RandomMacroblocks::DualPrimeFits(const Prediction& inPrediction) const {
    const Vector& vector = inPrediction.vectors[0][0];
    const int height = mIsFrame ? 8 : 16;
    const int lines = mIsFrame ? mContext.height / 2 : mContext.height;
    const auto fits = [&](int inFieldDistance, bool inIsTop) {
        const Vector derived{
            HalfRounded(vector.x * inFieldDistance) + inPrediction.dmvector.x,
            HalfRounded(vector.y * inFieldDistance) + inPrediction.dmvector.y + (inIsTop ? -1 : 1)};
        return Fits(derived, mRow * height, height, lines);
    };
    if (!mIsFrame) return fits(1, mPicture.picture_structure == 1);
    return fits(mPicture.top_field_first ? 1 : 3, true) && fits(mPicture.top_field_first ? 3 : 1, false);
}

// Whether a block of the macroblock's width stays inside.
bool RandomMacroblocks::Fits(const Vector& inVector, int inLine, int inHeight, int inLines) const {
    const int x = mColumn * 32 + inVector.x;
    const int y = inLine * 2 + inVector.y;
    return x >= 0 && x <= (mContext.width - 16) * 2 && y >= 0 && y <= (inLines - inHeight) * 2;
}

void RandomMacroblocks::WriteVectors(const Prediction& inPrediction) {
    const bool isDualPrime = inPrediction.motion == Motion::DualPrime;
    const bool isFieldOfFrame = mIsFrame && inPrediction.motion != Motion::Whole;
    const std::size_t count = inPrediction.motion == Motion::Halves ? 2 : 1;
    for (std::size_t direction : {0u, 1u}) {
        if (!inPrediction.directions[direction]) continue;
        const auto& f_code = mPicture.f_code[direction];
        for (std::size_t index = 0; index < count; ++index) {
            const Vector& vector = inPrediction.vectors[index][direction];
            Vector& predictor = mPredictors[index][direction];
            if (!isDualPrime && (!mIsFrame || isFieldOfFrame)) {
                mWriter.Put(1, inPrediction.fromBottomField[index][direction]);
            }
            mWriter.PutVectorComponent(f_code[0], predictor.x, vector.x, kComponents[direction][0]);
            if (isDualPrime) mWriter.PutDualPrimeDifference(inPrediction.dmvector.x);
            mWriter.PutVectorComponent(f_code[1], isFieldOfFrame ? predictor.y >> 1 : predictor.y, vector.y,
                                       kComponents[direction][1]);
            if (isDualPrime) mWriter.PutDualPrimeDifference(inPrediction.dmvector.y);
            predictor = {vector.x, isFieldOfFrame ? vector.y * 2 : vector.y};
        }
        if (count == 1) mPredictors[1][direction] = mPredictors[0][direction];
    }
}

void RandomMacroblocks::CountPrediction(const Prediction& inPrediction) {
    Features& features = mContext.features;
    const char* const motion = kMotions[static_cast<std::size_t>(inPrediction.motion)];
    features.Count("motion", mContext.where, mPicture.picture_coding_type, motion, inPrediction.directions[0],
                   inPrediction.directions[1]);
    if (inPrediction.motion == Motion::DualPrime) {
        features.Count("dual prime", mContext.where, mPicture.picture_structure, mPicture.top_field_first);
        return;
    }
    if (mPicture.picture_coding_type != kPictureTypeP || !mPicture.isSecondField) return;
    const bool isFirstField = inPrediction.fromBottomField[0][0] != (mPicture.picture_structure == 2);
    features.Count("second field", mPicture.picture_structure, "from the", isFirstField ? "first" : "past");
}

}  // namespace Vexmora::Test
