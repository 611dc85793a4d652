// Macroblock types, and what is skipped (ISO/IEC 13818-2, 6.2.5).
#include "Syntax/RandomMacroblock.h"

#include "mpeg2/QuantiserScale.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora::Test {
unsigned RandomQuantiserScaleCode(const MacroblockContext& inContext) {
    // The smallest scale has room for the largest levels.
    const int code = inContext.random.OneIn(4) ? 1 : inContext.random.Between(1, 31);
    inContext.features.Count("quantiser_scale_code", inContext.picture.q_scale_type, code);
    return static_cast<unsigned>(code);
}

RandomMacroblocks::RandomMacroblocks(const MacroblockContext& inContext, SyntaxWriter& ioWriter,
                                     unsigned inQuantiserScaleCode, int inRow)
    : mContext(inContext),
      mPicture(inContext.picture),
      mRandom(inContext.random),
      mWriter(ioWriter),
      mIsFrame(inContext.picture.picture_structure == 3),
      mRow(inRow),
      mQuantiserScale(QuantiserScale(inContext.picture.q_scale_type, inQuantiserScaleCode)) {
    ResetDcPredictors();
}

bool RandomMacroblocks::Skip(int inColumn) {
    if (mPicture.picture_coding_type == kPictureTypeI || !mPicture.hasPastFrame) return false;
    if (mPicture.picture_coding_type == kPictureTypeP) {
        mPredictors = {};
        mContext.features.Count("skipped P", mContext.where);
    } else {
        // Predicted in the directions of the macroblock before, with the predictors as vectors.
        if (mWasIntra) return false;
        mColumn = inColumn;
        for (std::size_t direction : {0u, 1u}) {
            if (mLastDirections[direction] &&
                !Fits(mPredictors[0][direction], mRow * 16, 16, mContext.height)) {
                return false;
            }
        }
        mContext.features.Count("skipped B", mContext.where, mLastDirections[0], mLastDirections[1]);
    }
    ResetDcPredictors();
    return true;
}

void RandomMacroblocks::Write(int inColumn) {
    mColumn = inColumn;
    const int type = RandomType();
    mContext.features.Count("type", mContext.where, mPicture.picture_coding_type, type);
    const bool isIntra = (type & kMacroblockIntra) != 0;
    const bool hasPattern = (type & kMacroblockPattern) != 0;
    Prediction prediction;
    prediction.directions = {(type & kMacroblockMotionForward) != 0, (type & kMacroblockMotionBackward) != 0};
    const bool hasMotion = prediction.directions[0] || prediction.directions[1];
    if (hasMotion) ChooseMotion(prediction);

    mWriter.PutMacroblockType(mPicture.picture_coding_type, type);
    if (hasMotion && !mPicture.frame_pred_frame_dct) {
        const bool isUsual = (prediction.motion == Motion::Whole) == mIsFrame;
        mWriter.Put(2, prediction.motion == Motion::DualPrime ? 3 : isUsual ? 2 : 1);
    }
    if (mIsFrame && !mPicture.frame_pred_frame_dct && (isIntra || hasPattern)) {
        const bool dct_type = mRandom.OneIn(2);
        mWriter.Put(1, dct_type);
        mContext.features.Count("dct_type", isIntra ? "intra" : "non-intra", dct_type);
    }
    if ((type & kMacroblockQuant) != 0) {
        const unsigned code = RandomQuantiserScaleCode(mContext);
        mWriter.Put(5, code);
        mQuantiserScale = QuantiserScale(mPicture.q_scale_type, code);
    }
    if (isIntra && mPicture.concealment_motion_vectors) {
        prediction.directions[0] = true;
        ChooseVectors(prediction);
        mContext.features.Count("concealment", mContext.where, mPicture.picture_coding_type);
    } else if (isIntra || !hasMotion) {
        mPredictors = {};
    }
    WriteVectors(prediction);
    mWasIntra = isIntra;
    if (isIntra) {
        if (mPicture.concealment_motion_vectors) mWriter.Put(1, 1);
        return WriteIntraBlocks();
    }
    ResetDcPredictors();
    mLastDirections = prediction.directions;
    if (hasMotion) CountPrediction(prediction);
    if (!hasPattern) return;
    const int coded_block_pattern = mRandom.Between(1, 63);
    mWriter.PutCodedBlockPattern(coded_block_pattern);
    for (int bit = 32; bit != 0; bit >>= 1) {
        if ((coded_block_pattern & bit) != 0) WriteCoefficients(false);
    }
}

int RandomMacroblocks::RandomType() {
    static constexpr std::array kI{1, 17};
    static constexpr std::array kP{10, 8, 1, 26, 17, 2, 18};
    static constexpr std::array kB{14, 12, 6, 4, 10, 8, 1, 30, 26, 22, 17};
    // The last two of P pictures repeat the field of the same parity in the past frame.
    const int countP = mPicture.hasPastFrame ? 7 : 5;
    const auto pick = [this](const auto& in, int inCount) {
        return in[static_cast<std::size_t>(mRandom.Between(0, inCount - 1))];
    };
    if (mPicture.picture_coding_type == kPictureTypeI) return pick(kI, 2);
    return mPicture.picture_coding_type == kPictureTypeP ? pick(kP, countP) : pick(kB, 11);
}

}  // namespace Vexmora::Test
