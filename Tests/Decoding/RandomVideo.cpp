// The macroblock layer of ISO/IEC 13818-2 (6.2.5, 6.2.6), written instead of read.
#include "Decoding/RandomVideo.h"

#include <cstdlib>
#include <optional>

#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora::Test {
namespace {

constexpr int kColumns = kRandomSequence.width / 16;
constexpr unsigned kFCode = 3;
constexpr int kRange = 32 << (kFCode - 1);

enum MotionType { kWhole, kHalves, kDualPrime };

class PictureWriter {
  public:
    PictureWriter(std::mt19937& ioRandom, const CodedPicture& inPicture)
        : mRandom(ioRandom),
          mPicture(inPicture),
          mIsFrame(inPicture.picture_structure == 3),
          mRows(static_cast<int>(kRandomSequence.height) / (mIsFrame ? 16 : 32)) {}

    Bytes Write() {
        Bytes bytes;
        for (int row = 0; row < mRows; ++row) {
            const Bytes slice = WriteSlice(row);
            bytes.insert(bytes.end(), slice.begin(), slice.end());
        }
        return bytes;
    }

  private:
    struct Vector {
        int x = 0;
        int y = 0;
    };

    Bytes WriteSlice(int inRow) {
        mBits = BitWriter();
        mBits.Put(24, 1).Put(8, static_cast<unsigned>(inRow + 1)).Put(5, 1 + Below(31)).Put(1, 0);
        mPredictors = {};
        mDcPredictors.fill(128);
        mRow = inRow;
        bool wasIntra = true;
        unsigned increment = 1;
        for (mColumn = 0; mColumn < kColumns; ++mColumn) {
            const bool isInner = mColumn != 0 && mColumn != kColumns - 1;
            const unsigned type = mPicture.picture_coding_type;
            // A skipped macroblock repeats the last prediction of a B picture with the predictors as vectors,
            // which must point inside the picture from here, too.
            const bool canSkip = type == 2 || (type == 3 && !wasIntra && SkippedFits());
            if (isInner && type != 1 && canSkip && Below(4) == 0) {
                if (type == 2) mPredictors = {};
                mDcPredictors.fill(128);
                ++increment;
                continue;
            }
            PutCode(kMacroblockAddressIncrementList, static_cast<int>(increment));
            increment = 1;
            wasIntra = WriteMacroblock();
        }
        mBits.Put(1, 0);  // never part of a longer run of zeros than what ends the slice
        return mBits.Take();
    }

    // Returns whether it is intra.
    bool WriteMacroblock() {
        const int type = RandomType();
        const bool isIntra = (type & kMacroblockIntra) != 0;
        mDirections = {(type & kMacroblockMotionForward) != 0, (type & kMacroblockMotionBackward) != 0};
        const bool hasMotion = mDirections[0] || mDirections[1];
        MotionType motion = kWhole;
        // What is derived from a dual prime vector must be inside the picture, too.
        const bool hasRoom = mColumn > 0 && mColumn < kColumns - 1 && mRow > 0 && mRow < mRows - 1;
        const bool mayBeDualPrime = mPicture.picture_coding_type == 2 && hasRoom;
        if (hasMotion) motion = static_cast<MotionType>(Below(mayBeDualPrime ? 3 : 2));
        PutCode(mPicture.picture_coding_type == 1   ? kMacroblockTypeListI
                : mPicture.picture_coding_type == 2 ? kMacroblockTypeListP
                                                    : kMacroblockTypeListB,
                type);
        if (hasMotion) mBits.Put(2, motion == kDualPrime ? 3 : (motion == kWhole) == mIsFrame ? 2 : 1);
        if (mIsFrame && (isIntra || (type & kMacroblockPattern) != 0)) mBits.Put(1, Below(2));
        if ((type & kMacroblockQuant) != 0) mBits.Put(5, 1 + Below(31));
        if (isIntra) {
            WriteIntra();
            return true;
        }
        mDcPredictors.fill(128);
        if (!hasMotion) mPredictors = {};
        for (std::size_t direction : {0u, 1u}) {
            if (mDirections[direction]) WriteVectors(motion, direction);
        }
        if ((type & kMacroblockPattern) != 0) {
            const unsigned pattern = 1 + Below(63);
            PutCode(kCodedBlockPatternList, static_cast<int>(pattern));
            for (unsigned bit = 32; bit != 0; bit >>= 1) {
                if ((pattern & bit) != 0) WriteCoefficients(0);
            }
        }
        return false;
    }

    int RandomType() {
        static constexpr std::array kI{1, 17};
        static constexpr std::array kP{10, 2, 8, 1, 26, 18, 17};
        static constexpr std::array kB{14, 12, 6, 4, 10, 8, 1, 30, 26, 22, 17};
        const auto pick = [this](const auto& in) { return in[Below(static_cast<unsigned>(in.size()))]; };
        return mPicture.picture_coding_type == 1   ? pick(kI)
               : mPicture.picture_coding_type == 2 ? pick(kP)
                                                   : pick(kB);
    }

    void WriteIntra() {
        if (mPicture.concealment_motion_vectors) {
            WriteVectors(kWhole, 0);
            mBits.Put(1, 1);
        } else {
            mPredictors = {};
        }
        for (std::size_t block = 0; block < 6; ++block) {
            int& predictor = mDcPredictors[block < 4 ? 0 : block - 3];
            const int value = 40 + static_cast<int>(Below(176));
            const int differential = value - predictor;
            predictor = value;
            unsigned size = 0;
            while ((std::abs(differential) >> size) != 0) ++size;
            PutCode(block < 4 ? kDctDcSizeLuminanceList : kDctDcSizeChrominanceList, static_cast<int>(size));
            if (size != 0) {
                const int bits = differential < 0 ? differential + (1 << size) - 1 : differential;
                mBits.Put(size, static_cast<unsigned>(bits));
            }
            WriteCoefficients(1);
        }
    }

    // A few escaped coefficients and the end of block of table B.14.
    void WriteCoefficients(unsigned inFirst) {
        unsigned position = inFirst;
        for (unsigned count = 1 + Below(3); count != 0 && position < 60; --count) {
            const unsigned run = Below(std::min(12u, 60 - position));
            const int level = 1 + static_cast<int>(Below(6));
            mBits.Put(6, 1).Put(6, run).Put(12,
                                            static_cast<unsigned>(Below(2) == 0 ? level : -level) & 0xFFF);
            position += run + 1;
        }
        mBits.Put(2, 2);
    }

    void WriteVectors(MotionType inType, std::size_t inDirection) {
        const int count = inType == kHalves ? 2 : 1;
        for (int vector = 0; vector < count; ++vector) {
            const auto index = static_cast<std::size_t>(vector);
            if (inType != kDualPrime && (!mIsFrame || inType == kHalves)) mBits.Put(1, Below(2));
            WriteVector(inType, mPredictors[index][inDirection], vector);
        }
        if (count == 1) mPredictors[1][inDirection] = mPredictors[0][inDirection];
    }

    void WriteVector(MotionType inType, Vector& ioPredictor, int inIndex) {
        const bool isFieldOfFrame = mIsFrame && inType != kWhole;
        const int margin = inType == kDualPrime ? 8 : 0;
        const int height = inType == kHalves || isFieldOfFrame ? 8 : 16;
        const int y = isFieldOfFrame                      ? mRow * 8
                      : inType == kHalves && inIndex == 1 ? mRow * 16 + 8
                                                          : mRow * 16;
        const int lines = isFieldOfFrame ? mRows * 8 : mRows * 16;
        const int x = RandomComponent(mColumn * 16, static_cast<int>(kRandomSequence.width) - 16, margin);
        const int component = RandomComponent(y, lines - height, margin);
        PutComponent(x - ioPredictor.x);
        ioPredictor.x = x;
        if (inType == kDualPrime) PutDualPrimeDifference();
        const int predictor = isFieldOfFrame ? ioPredictor.y >> 1 : ioPredictor.y;
        PutComponent(component - predictor);
        ioPredictor.y = isFieldOfFrame ? component * 2 : component;
        if (inType == kDualPrime) PutDualPrimeDifference();
    }

    // In half samples, so that a block at inPosition stays between 0 and inLast. A margin keeps what is
    // derived from the vector inside, too, and gives no motion where there is not enough room.
    int RandomComponent(int inPosition, int inLast, int inMargin) {
        const int least = std::max(-inPosition * 2, -kRange / 2);
        const int most = std::min((inLast - inPosition) * 2, kRange / 2 - 1);
        if (inMargin != 0) {
            const int room = std::min({-least, most, 12}) / 3 - 3;
            return room > 0 ? static_cast<int>(Below(static_cast<unsigned>(2 * room + 1))) - room : 0;
        }
        return least + static_cast<int>(Below(static_cast<unsigned>(most - least + 1)));
    }

    void PutComponent(int inDelta) {
        int delta = inDelta;
        if (delta < -kRange / 2) delta += kRange;
        if (delta >= kRange / 2) delta -= kRange;
        if (delta == 0) return PutCode(kMotionCodeList, 0);
        const int magnitude = std::abs(delta) - 1;
        const int code = (magnitude >> (kFCode - 1)) + 1;
        PutCode(kMotionCodeList, delta < 0 ? -code : code);
        mBits.Put(kFCode - 1, static_cast<unsigned>(magnitude) & ((1u << (kFCode - 1)) - 1));
    }

    void PutDualPrimeDifference() {
        if (Below(2) == 0) {
            mBits.Put(1, 0);
        } else {
            mBits.Put(2, 2 + Below(2));
        }
    }

    bool SkippedFits() const {
        for (std::size_t direction : {0u, 1u}) {
            const Vector& vector = mPredictors[0][direction];
            const int x = mColumn * 32 + vector.x;
            const int y = mRow * 32 + vector.y;
            if (mDirections[direction] && (x < 0 || x > (static_cast<int>(kRandomSequence.width) - 16) * 2 ||
                                           y < 0 || y > (mRows - 1) * 32)) {
                return false;
            }
        }
        return true;
    }

    // Finds the code of a value in a list: for each length the number of codes, then code and value of each.
    void PutCode(VlcList inList, int inValue) {
        std::size_t at = 2 + static_cast<std::size_t>(inList[1]);
        for (unsigned length = 1; inList[at] != kVlcListEnd; ++length) {
            const std::int32_t count = inList[at++];
            for (std::int32_t i = 0; i < count; ++i, at += 2) {
                if (inList[at + 1] == inValue) {
                    mBits.Put(length, static_cast<unsigned>(inList[at]));
                    return;
                }
            }
        }
        std::abort();
    }

    unsigned Below(unsigned inLimit) { return static_cast<unsigned>(mRandom() % inLimit); }

    std::mt19937& mRandom;
    const CodedPicture& mPicture;
    const bool mIsFrame;
    const int mRows;
    BitWriter mBits;
    int mRow = 0;
    int mColumn = 0;
    std::array<bool, 2> mDirections{};
    std::array<std::array<Vector, 2>, 2> mPredictors{};
    std::array<int, 3> mDcPredictors{};
};

}  // namespace

Bytes RandomVideoHeaders() {
    return Join({SequenceHeader(kRandomSequence), SequenceExtension(kRandomSequence)});
}

void AddRandomSlices(std::mt19937& ioRandom, CodedPicture& ioPicture) {
    const unsigned type = ioPicture.picture_coding_type;
    const unsigned backward = type == 3 ? kFCode : 15;
    const unsigned forward = type == 1 && !ioPicture.concealment_motion_vectors ? 15 : kFCode;
    BitWriter extension;
    extension.Put(32, 0x1B5).Put(4, 8).Put(4, forward).Put(4, forward).Put(4, backward).Put(4, backward);
    extension.Put(2, 0).Put(2, ioPicture.picture_structure);
    extension.Put(1, ioPicture.picture_structure == 3 && ioPicture.topFieldFirst).Put(1, 0);
    extension.Put(1, ioPicture.concealment_motion_vectors)
        .Put(3, ioRandom() % 2 * 4 + ioRandom() % 2)
        .Put(4, 0);
    ioPicture.bytes = Join({PictureHeader(ioPicture.temporal_reference, type), extension.Take(),
                            PictureWriter(ioRandom, ioPicture).Write()});
}

}  // namespace Vexmora::Test
