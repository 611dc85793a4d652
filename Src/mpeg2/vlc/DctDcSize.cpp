// Tables B.12 and B.13 of ISO/IEC 13818-2: dct_dc_size_luminance and dct_dc_size_chrominance.
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

// clang-format off
constexpr std::int32_t kNumbersLuminance[] = {
    9, 2, 5, 4,
    0,
    2, 0b01, 2, 0b00, 1,
    3, 0b110, 4, 0b101, 3, 0b100, 0,
    1, 0b1110, 5,
    1, 0b1111'0, 6,
    1, 0b1111'10, 7,
    1, 0b1111'110, 8,
    1, 0b1111'1110, 9,
    2, 0b1111'1111'1, 11, 0b1111'1111'0, 10,
    kVlcListEnd};

constexpr std::int32_t kNumbersChrominance[] = {
    10, 2, 5, 5,
    0,
    3, 0b10, 2, 0b01, 1, 0b00, 0,
    1, 0b110, 3,
    1, 0b1110, 4,
    1, 0b1111'0, 5,
    1, 0b1111'10, 6,
    1, 0b1111'110, 7,
    1, 0b1111'1110, 8,
    1, 0b1111'1111'0, 9,
    2, 0b1111'1111'11, 11, 0b1111'1111'10, 10,
    kVlcListEnd};
// clang-format on

}  // namespace

constinit const VlcList kDctDcSizeLuminanceList(kNumbersLuminance);
constinit const VlcList kDctDcSizeChrominanceList(kNumbersChrominance);

}  // namespace Vexmora
