// Table B.1 of ISO/IEC 13818-2: macroblock_address_increment and macroblock_escape.
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

// clang-format off
constexpr std::int32_t kNumbers[] = {
    11, 2, 7, 4,
    1, 0b1, 1,
    0,
    2, 0b011, 2, 0b010, 3,
    2, 0b0011, 4, 0b0010, 5,
    2, 0b0001'1, 6, 0b0001'0, 7,
    0,
    2, 0b0000'111, 8, 0b0000'110, 9,
    6, 0b0000'1011, 10, 0b0000'1010, 11, 0b0000'1001, 12, 0b0000'1000, 13, 0b0000'0111, 14, 0b0000'0110, 15,
    0,
    6, 0b0000'0101'11, 16, 0b0000'0101'10, 17, 0b0000'0101'01, 18, 0b0000'0101'00, 19, 0b0000'0100'11, 20,
        0b0000'0100'10, 21,
    13, 0b0000'0100'011, 22, 0b0000'0100'010, 23, 0b0000'0100'001, 24, 0b0000'0100'000, 25,
        0b0000'0011'111, 26, 0b0000'0011'110, 27, 0b0000'0011'101, 28, 0b0000'0011'100, 29,
        0b0000'0011'011, 30, 0b0000'0011'010, 31, 0b0000'0011'001, 32, 0b0000'0011'000, 33,
        0b0000'0001'000, kMacroblockEscape,
    kVlcListEnd};
// clang-format on

}  // namespace

constinit const VlcList kMacroblockAddressIncrementList(kNumbers);

}  // namespace Vexmora
