// Coefficients (ISO/IEC 13818-2, 6.2.6 and 7.2 to 7.4).
#include <algorithm>
#include <cstdlib>

#include "Syntax/RandomMacroblock.h"
#include "mpeg2/Scan.h"

namespace Vexmora::Test {
namespace {

constexpr int kLargestLevel = 2047;
constexpr int kLargestCoefficient = 2047;
constexpr int kLargestDefaultWeight = 83;
// mpeg2dec keeps rows in 16 bits between its two transforms, which coefficients that sum up to more, the
// largest DC coefficient among them, overflow. No picture whose samples are in their range needs as much.
constexpr int kLargestSum = 2800;
constexpr int kLargestIntraSum = 1400;

}  // namespace

void RandomMacroblocks::WriteIntraBlocks() {
    for (std::size_t block = 0; block < 6; ++block) {
        WriteDc(block < 4 ? 0 : block - 3);
        WriteCoefficients(true);
    }
}

void RandomMacroblocks::WriteDc(std::size_t inComponent) {
    const int limit = 256 << mPicture.intra_dc_precision;
    int& predictor = mDcPredictors[inComponent];
    int value = mRandom.Between(limit / 4, limit * 3 / 4);
    if (mRandom.OneIn(4)) value = std::clamp(predictor + mRandom.Between(-3, 3), 0, limit - 1);
    if (mRandom.OneIn(16)) value = mRandom.OneIn(2) ? 0 : limit - 1;
    if (mPicture.saturates) value /= 4;  // see kLargestSum
    mWriter.PutDcDifferential(inComponent == 0, value - predictor);
    predictor = value;
}

// Often few and small ones, now and then a full block or the largest ones.
void RandomMacroblocks::WriteCoefficients(bool inIsIntra) {
    const CoefficientTable table =
        inIsIntra && mPicture.intra_vlc_format ? CoefficientTable::B15 : CoefficientTable::B14;
    unsigned position = inIsIntra ? 1 : 0;
    int sum = mPicture.saturates ? 1 << 20
              : mRandom.OneIn(8) ? (inIsIntra ? kLargestIntraSum : kLargestSum)
                                 : mRandom.Between(30, 300);
    const int most = mPicture.saturates ? 1 : mRandom.OneIn(16) ? 64 : 4;
    int count = mRandom.Between(inIsIntra ? 0 : 1, most);
    for (; count > 0 && position < 64; --count) {
        const CoefficientTable used = position == 0 ? CoefficientTable::First : table;
        const bool isFirst = position == 0;
        const auto& codes = CoefficientCodes(used);
        const CoefficientCode& code =
            codes[static_cast<std::size_t>(mRandom.Between(0, static_cast<int>(codes.size()) - 1))];
        const bool isFromTable = mRandom.OneIn(2) && code.run + position < 64;
        const unsigned room = 63 - position;
        const unsigned run =
            isFromTable ? code.run
            : count > 8 ? static_cast<unsigned>(mRandom.Between(0, static_cast<int>(room > 2 ? 2 : room)))
                        : static_cast<unsigned>(mRandom.Between(0, static_cast<int>(room)));
        const int largest = LargestLevel(inIsIntra, position + run, std::min(sum, kLargestCoefficient));
        int level = isFromTable        ? code.level
                    : mRandom.OneIn(4) ? largest
                                       : mRandom.Between(1, 2 << mRandom.Between(0, 10));
        level = std::min(level, largest);
        if (level == 0) {
            if (!isFirst) break;
            level = 1;
        }
        mWriter.PutCoefficient(used, run, mRandom.OneIn(2) ? level : -level,
                               !isFromTable && mRandom.OneIn(2));
        position += run;
        sum -= Dequantised(inIsIntra, position, level);
        ++position;
    }
    mWriter.PutEndOfBlock(table);
}

// The largest level that gives a coefficient of at most inLimit, 0 if there is none.
int RandomMacroblocks::LargestLevel(bool inIsIntra, unsigned inPosition, int inLimit) const {
    if (mPicture.saturates) return kLargestLevel;
    const int factor = WeightAt(inIsIntra, inPosition) * mQuantiserScale;
    const int level = ((inLimit * 32 + 31) / factor - (inIsIntra ? 0 : 1)) / 2;
    return std::clamp(level, 0, kLargestLevel);
}

// Without its sign, before saturation (7.4.2.3).
int RandomMacroblocks::Dequantised(bool inIsIntra, unsigned inPosition, int inLevel) const {
    return (2 * inLevel + (inIsIntra ? 0 : 1)) * WeightAt(inIsIntra, inPosition) * mQuantiserScale / 32;
}

int RandomMacroblocks::WeightAt(bool inIsIntra, unsigned inPosition) const {
    const ScanOrder& scan = mPicture.alternate_scan ? kAlternateScan : kZigzagScan;
    const auto& weights = inIsIntra ? mContext.weights.intra : mContext.weights.nonIntra;
    if (weights) return (*weights)[scan[inPosition]];
    return inIsIntra ? kLargestDefaultWeight : 16;
}

}  // namespace Vexmora::Test
