// The process's one set of decoding tables.
#include "mpeg2/DecodingTables.h"

#include <stdexcept>

#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

DecodingTableSet BuildSet() {
    DecodingTableSet set;
    const auto check = [](PrimitiveStatus inStatus) {
        if (inStatus != PrimitiveStatus::Ok) throw std::logic_error("a code list is not a table");
    };
    check(BuildVlcTable(kMacroblockAddressIncrementList, set.macroblockAddressIncrement));
    check(BuildVlcTable(kMacroblockTypeListI, set.macroblockTypeI));
    check(BuildVlcTable(kMacroblockTypeListP, set.macroblockTypeP));
    check(BuildVlcTable(kMacroblockTypeListB, set.macroblockTypeB));
    check(BuildVlcTable(kCodedBlockPatternList, set.codedBlockPattern));
    check(BuildVlcTable(kMotionCodeList, set.motionCode));
    check(BuildVlcTable(kDctDcSizeLuminanceList, set.dctDcSizeLuminance));
    check(BuildVlcTable(kDctDcSizeChrominanceList, set.dctDcSizeChrominance));
    check(BuildRunLevelTable(kDctFirstCoefficientList, set.dctFirstCoefficient));
    check(BuildRunLevelTable(kDctCoefficientList, set.dctCoefficient));
    check(BuildRunLevelTable(kDctCoefficientAlternativeList, set.dctCoefficientAlternative));
    return set;
}

}  // namespace

const DecodingTableSet& DecodingTables::ProcessSet() {
    static const DecodingTableSet set = BuildSet();
    return set;
}

}  // namespace Vexmora
