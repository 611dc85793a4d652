// The decoding tables of all variable-length codes, built when the first user comes and freed when the last
// goes.
#pragma once

#include "primitives/VlcTable.h"

namespace Vexmora {

/// One table for each of the code tables B.1 to B.4, B.9, B.10 and B.12 to B.15 of ISO/IEC 13818-2; B.14 in
/// two forms.
struct DecodingTableSet {
    VlcTable macroblockAddressIncrement;
    VlcTable macroblockTypeI;
    VlcTable macroblockTypeP;
    VlcTable macroblockTypeB;
    VlcTable codedBlockPattern;
    VlcTable motionCode;
    VlcTable dctDcSizeLuminance;
    VlcTable dctDcSizeChrominance;
    RunLevelTable dctFirstCoefficient;
    RunLevelTable dctCoefficient;
    RunLevelTable dctCoefficientAlternative;
};

/// Holds the process's set; as long as one of these lives, the set is there and does not change. Construction
/// and destruction are safe on any thread; construction throws std::bad_alloc.
class DecodingTables {
  public:
    DecodingTables();
    ~DecodingTables();
    DecodingTables(const DecodingTables&) = delete;
    DecodingTables& operator=(const DecodingTables&) = delete;

    const DecodingTableSet& operator*() const;
};

}  // namespace Vexmora
