// The macroblocks of one slice: what they are is drawn by chance within what the standard allows.
#pragma once

#include <array>

#include "Syntax/RandomPicture.h"

namespace Vexmora::Test {

/// What all slices of a picture share.
struct MacroblockContext {
    const PictureSyntax& picture;
    const WeightsInUse& weights;
    Random& random;
    Features& features;
    int width = 0;
    int height = 0;  // of the frame or the field, in lines
    bool isTall = false;
    const char* where = "";  // among the features
};

unsigned RandomQuantiserScaleCode(const MacroblockContext& inContext);

class RandomMacroblocks {
  public:
    /// Behind the header of a slice.
    RandomMacroblocks(const MacroblockContext& inContext, SyntaxWriter& ioWriter,
                      unsigned inQuantiserScaleCode, int inRow);

    /// Writes the macroblock in that column, from macroblock_type on.
    void Write(int inColumn);
    /// Passes over the macroblock in that column. False if it must be coded.
    bool Skip(int inColumn);

  private:
    struct Vector {
        int x = 0;
        int y = 0;
    };
    enum class Motion { Whole, Halves, DualPrime };
    struct Prediction {
        Motion motion = Motion::Whole;
        std::array<bool, 2> directions{};
        std::array<std::array<Vector, 2>, 2> vectors{};  // [first or second][direction]
        std::array<std::array<bool, 2>, 2> fromBottomField{};
        Vector dmvector;
    };
    struct Coefficient {
        unsigned run = 0;
        int level = 0;
        bool isEscape = false;
    };

    int RandomType();
    void ChooseMotion(Prediction& ioPrediction);
    void ChooseVectors(Prediction& ioPrediction);
    Vector RandomVector(const Prediction& inPrediction, std::size_t inVector, std::size_t inDirection);
    bool ChooseDualPrime(Prediction& ioPrediction);
    bool DualPrimeFits(const Prediction& inPrediction) const;
    bool Fits(const Vector& inVector, int inLine, int inHeight, int inLines) const;
    int RandomComponent(int inLeast, int inMost);
    void CountPrediction(const Prediction& inPrediction);
    void WriteVectors(const Prediction& inPrediction);

    void WriteIntraBlocks();
    void WriteDc(std::size_t inComponent);
    void WriteCoefficients(bool inIsIntra);
    Coefficient RandomCoefficient(CoefficientTable inTable, unsigned inRoom, unsigned inLongestRun);
    int LargestLevel(bool inIsIntra, unsigned inPosition, int inLimit) const;
    int Dequantised(bool inIsIntra, unsigned inPosition, int inLevel) const;
    int WeightAt(bool inIsIntra, unsigned inPosition) const;
    void ResetDcPredictors() { mDcPredictors.fill(128 << mPicture.intra_dc_precision); }

    const MacroblockContext& mContext;
    const PictureSyntax& mPicture;
    Random& mRandom;
    SyntaxWriter& mWriter;
    const bool mIsFrame;
    const int mRow;
    int mColumn = 0;
    int mQuantiserScale = 0;
    std::array<std::array<Vector, 2>, 2> mPredictors{};
    std::array<int, 3> mDcPredictors{};
    bool mWasIntra = true;
    std::array<bool, 2> mLastDirections{};
};

}  // namespace Vexmora::Test
