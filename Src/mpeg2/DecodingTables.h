// The decoding tables of all variable-length codes, built once.
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

/// The process's set, which the first holder builds and which then stays, for a host that opens many short
/// files in turn would have it built for each (28 of the 30 microseconds that it takes to open a buffer
/// instance). Any thread; construction throws std::bad_alloc.
class DecodingTables {
  public:
    const DecodingTableSet& operator*() const { return mSet; }

  private:
    static const DecodingTableSet& ProcessSet();

    const DecodingTableSet& mSet = ProcessSet();
};

}  // namespace Vexmora
