// Dual prime arithmetic (ISO/IEC 13818-2, 7.6.3.6).
#include "mpeg2/MotionVectors.h"

namespace Vexmora {

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
