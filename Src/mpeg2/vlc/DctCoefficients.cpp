// Table B.14 of ISO/IEC 13818-2: DCT coefficients, and its form for the first coefficient of a non-intra
// block.
#include "mpeg2/vlc/DctCoefficientsLong.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

// Maximum length, stages and their bits, one more than the maximum for the sign, then the codes of 1 and 2
// bits.
// clang-format off
constexpr std::array kFirstBegin{
    16, 2, 11, 6,
    1, 0b1, 0, 1,
    0};
constexpr std::array kBegin{
    16, 2, 11, 6,
    0,
    2, 0b11, 0, 1, 0b10, kRunEndOfBlock, 0};

// The codes of 3 to 13 bits.
constexpr std::array kMiddle{
    1, 0b011, 1, 1,
    2, 0b0101, 2, 1, 0b0100, 0, 2,
    3, 0b0011'1, 3, 1, 0b0011'0, 4, 1, 0b0010'1, 0, 3,
    5, 0b0001'11, 5, 1, 0b0001'10, 1, 2, 0b0001'01, 6, 1, 0b0001'00, 7, 1, 0b0000'01, kRunEscape, 0,
    4, 0b0000'111, 8, 1, 0b0000'110, 0, 4, 0b0000'101, 9, 1, 0b0000'100, 2, 2,
    8, 0b0010'0111, 10, 1, 0b0010'0110, 0, 5, 0b0010'0101, 1, 3, 0b0010'0100, 3, 2, 0b0010'0011, 11, 1,
        0b0010'0010, 12, 1, 0b0010'0001, 0, 6, 0b0010'0000, 13, 1,
    0,
    8, 0b0000'0011'11, 4, 2, 0b0000'0011'10, 14, 1, 0b0000'0011'01, 15, 1, 0b0000'0011'00, 1, 4,
        0b0000'0010'11, 2, 3, 0b0000'0010'10, 0, 7, 0b0000'0010'01, 5, 2, 0b0000'0010'00, 16, 1,
    0,
    16, 0b0000'0001'1111, 17, 1, 0b0000'0001'1110, 6, 2, 0b0000'0001'1101, 0, 8, 0b0000'0001'1100, 3, 3,
        0b0000'0001'1011, 1, 5, 0b0000'0001'1010, 18, 1, 0b0000'0001'1001, 19, 1, 0b0000'0001'1000, 0, 9,
        0b0000'0001'0111, 20, 1, 0b0000'0001'0110, 21, 1, 0b0000'0001'0101, 7, 2, 0b0000'0001'0100, 2, 4,
        0b0000'0001'0011, 0, 10, 0b0000'0001'0010, 4, 3, 0b0000'0001'0001, 8, 2, 0b0000'0001'0000, 0, 11,
    16, 0b0000'0000'1111'1, 22, 1, 0b0000'0000'1111'0, 23, 1, 0b0000'0000'1110'1, 24, 1,
        0b0000'0000'1110'0, 25, 1, 0b0000'0000'1101'1, 26, 1, 0b0000'0000'1101'0, 0, 12,
        0b0000'0000'1100'1, 0, 13, 0b0000'0000'1100'0, 0, 14, 0b0000'0000'1011'1, 0, 15,
        0b0000'0000'1011'0, 1, 6, 0b0000'0000'1010'1, 1, 7, 0b0000'0000'1010'0, 2, 5,
        0b0000'0000'1001'1, 3, 4, 0b0000'0000'1001'0, 5, 3, 0b0000'0000'1000'1, 9, 2,
        0b0000'0000'1000'0, 10, 2};
// clang-format on

constexpr auto kFirstNumbers = Concatenate(kFirstBegin, kMiddle, kDctCoefficientsLong);
constexpr auto kNumbers = Concatenate(kBegin, kMiddle, kDctCoefficientsLong);

}  // namespace

constinit const VlcList kDctFirstCoefficientList(kFirstNumbers);
constinit const VlcList kDctCoefficientList(kNumbers);

}  // namespace Vexmora
