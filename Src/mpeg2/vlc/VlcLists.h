// The lists of the code tables of MPEG-2 video (ISO/IEC 13818-2, Annex B).
#pragma once

#include <cstdint>

#include "primitives/VlcTable.h"

namespace Vexmora {

/// Value of macroblock_escape among the macroblock_address_increments.
inline constexpr std::int32_t kMacroblockEscape = 65535;

/// What a macroblock_type is made of.
enum MacroblockFlag : std::int32_t {
    kMacroblockIntra = 1,
    kMacroblockPattern = 2,
    kMacroblockMotionBackward = 4,
    kMacroblockMotionForward = 8,
    kMacroblockQuant = 16,
};

/// B.1, without macroblock_stuffing.
extern const VlcList kMacroblockAddressIncrementList;
/// B.2, B.3 and B.4; values are sets of MacroblockFlag.
extern const VlcList kMacroblockTypeListI;
extern const VlcList kMacroblockTypeListP;
extern const VlcList kMacroblockTypeListB;
/// B.9; bits 32 to 4 for the luminance blocks in order, 2 for Cb, 1 for Cr.
extern const VlcList kCodedBlockPatternList;
/// B.10, -16 to 16.
extern const VlcList kMotionCodeList;
/// B.12 and B.13.
extern const VlcList kDctDcSizeLuminanceList;
extern const VlcList kDctDcSizeChrominanceList;
/// B.14 as run-level list, with the short first code and without end of block.
extern const VlcList kDctFirstCoefficientList;
/// B.14 and B.15 as run-level lists.
extern const VlcList kDctCoefficientList;
extern const VlcList kDctCoefficientAlternativeList;

}  // namespace Vexmora
