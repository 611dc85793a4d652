// The process's one set of decoding tables and the count of those who hold it.
#include "mpeg2/DecodingTables.h"

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "Orvet/CriticalSection.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

// Holders come and go under the lock and read the set without it.
struct SharedTables {
    Orvet::CriticalSection lock;
    std::uint32_t holders = 0;
    std::unique_ptr<const DecodingTableSet> set;
};
SharedTables gTables;

std::unique_ptr<const DecodingTableSet> BuildSet() {
    auto set = std::make_unique<DecodingTableSet>();
    const auto check = [](PrimitiveStatus inStatus) {
        if (inStatus != PrimitiveStatus::Ok) throw std::logic_error("a code list is not a table");
    };
    check(BuildVlcTable(kMacroblockAddressIncrementList, set->macroblockAddressIncrement));
    check(BuildVlcTable(kMacroblockTypeListI, set->macroblockTypeI));
    check(BuildVlcTable(kMacroblockTypeListP, set->macroblockTypeP));
    check(BuildVlcTable(kMacroblockTypeListB, set->macroblockTypeB));
    check(BuildVlcTable(kCodedBlockPatternList, set->codedBlockPattern));
    check(BuildVlcTable(kMotionCodeList, set->motionCode));
    check(BuildVlcTable(kDctDcSizeLuminanceList, set->dctDcSizeLuminance));
    check(BuildVlcTable(kDctDcSizeChrominanceList, set->dctDcSizeChrominance));
    check(BuildRunLevelTable(kDctFirstCoefficientList, set->dctFirstCoefficient));
    check(BuildRunLevelTable(kDctCoefficientList, set->dctCoefficient));
    check(BuildRunLevelTable(kDctCoefficientAlternativeList, set->dctCoefficientAlternative));
    return set;
}

}  // namespace

DecodingTables::DecodingTables() {
    const Orvet::CriticalSectionLock lock(gTables.lock);
    if (gTables.holders == 0) gTables.set = BuildSet();
    ++gTables.holders;
}

DecodingTables::~DecodingTables() {
    const Orvet::CriticalSectionLock lock(gTables.lock);
    if (--gTables.holders == 0) gTables.set.reset();
}

const DecodingTableSet& DecodingTables::operator*() const {
    return *gTables.set;
}

}  // namespace Vexmora
