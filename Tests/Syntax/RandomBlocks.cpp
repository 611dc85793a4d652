// Coefficients (ISO/IEC 13818-2, 6.2.6 and 7.2 to 7.4).
#include <algorithm>

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
    const int most = mPicture.saturates ? 1 : mRandom.OneIn(16) ? 64 : 4;
    int sum = mRandom.Between(30, 300);
    if (mRandom.OneIn(8)) sum = inIsIntra ? kLargestIntraSum : kLargestSum;
    unsigned position = inIsIntra ? 1 : 0;
    for (int left = mRandom.Between(inIsIntra ? 0 : 1, most); left > 0 && position < 64; --left) {
        const bool isFirst = position == 0;
        const CoefficientTable used = isFirst ? CoefficientTable::First : table;
        Coefficient coefficient = RandomCoefficient(used, 63 - position, left > 8 ? 2 : 63);
        position += coefficient.run;
        const int largest = LargestLevel(inIsIntra, position, std::min(sum, kLargestCoefficient));
        if (largest == 0 && !isFirst) break;
        const int level = std::clamp(largest, 1, coefficient.level);
        mWriter.PutCoefficient(used, coefficient.run, mRandom.OneIn(2) ? level : -level,
                               coefficient.isEscape);
        sum -= Dequantised(inIsIntra, position, level);
        ++position;
    }
    mWriter.PutEndOfBlock(table);
}

// Half of them have a code in the table. The others have no longer runs than inLongestRun.
auto RandomMacroblocks::RandomCoefficient(CoefficientTable inTable, unsigned inRoom, unsigned inLongestRun)
    -> Coefficient {
    const auto& codes = CoefficientCodes(inTable);
    const auto index = mRandom.Between(0, static_cast<int>(codes.size()) - 1);
    const CoefficientCode& code = codes[static_cast<std::size_t>(index)];
    if (code.run <= inRoom && mRandom.OneIn(2)) return {code.run, code.level, false};
    const int run = mRandom.Between(0, static_cast<int>(std::min(inRoom, inLongestRun)));
    const int level = mRandom.OneIn(4) ? kLargestLevel : mRandom.Between(1, 2 << mRandom.Between(0, 9));
    return {static_cast<unsigned>(run), level, mRandom.OneIn(2)};
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
