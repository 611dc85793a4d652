// Scan, matrices and quantiser scales of a picture, multiplied out.
#include "mpeg2/QuantisationTables.h"

#include "mpeg2/QuantiserScale.h"
#include "mpeg2/Scan.h"

namespace Vexmora {

QuantisationTables::QuantisationTables(const DecodingParameters& inParameters) {
    const bool isAlternate = inParameters.picture.alternateScan != 0;
    const ScanOrder& scan = isAlternate ? kAlternateScan : kZigzagScan;
    const ScanOrder& scanByColumns = isAlternate ? kAlternateScanByColumns : kZigzagScanByColumns;
    const QuantiserMatrices& matrices = inParameters.matrices;
    const std::array sources{matrices.intraLuma, matrices.intraChroma, matrices.nonIntraLuma,
                             matrices.nonIntraChroma};  // in the order of BlockKind
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        std::size_t same = 0;
        while (sources[same] != sources[kind]) ++same;
        mTableOf[kind] = static_cast<std::uint8_t>(same);
        if (same != kind) continue;

        const QuantiserMatrix* const matrix = matrices.Find(sources[kind]);
        std::array<std::uint16_t, 64> weights;
        weights.fill(16);
        for (std::size_t i = 0; matrix != nullptr && i < weights.size(); ++i) weights[i] = (*matrix)[scan[i]];
        for (std::uint32_t code = 0; code < kCodes; ++code) {
            MakeScaledPositions(scanByColumns.data(), weights.data(),
                                QuantiserScale(inParameters.picture.qScaleType != 0, code),
                                mTables[kind][code]);
        }
    }
}

}  // namespace Vexmora
