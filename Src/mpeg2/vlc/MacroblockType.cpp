// Tables B.2, B.3 and B.4 of ISO/IEC 13818-2: macroblock_type in I, P and B pictures.
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

constexpr std::int32_t kQuant = kMacroblockQuant;
constexpr std::int32_t kForward = kMacroblockMotionForward;
constexpr std::int32_t kBackward = kMacroblockMotionBackward;
constexpr std::int32_t kPattern = kMacroblockPattern;
constexpr std::int32_t kIntra = kMacroblockIntra;

// clang-format off
constexpr std::int32_t kNumbersI[] = {
    2, 1, 2,
    1, 0b1, kIntra,
    1, 0b01, kQuant | kIntra,
    kVlcListEnd};

constexpr std::int32_t kNumbersP[] = {
    6, 1, 6,
    1, 0b1, kForward | kPattern,
    1, 0b01, kPattern,
    1, 0b001, kForward,
    0,
    3, 0b0001'1, kIntra, 0b0001'0, kQuant | kForward | kPattern, 0b0000'1, kQuant | kPattern,
    1, 0b0000'01, kQuant | kIntra,
    kVlcListEnd};

constexpr std::int32_t kNumbersB[] = {
    6, 1, 6,
    0,
    2, 0b11, kForward | kBackward | kPattern, 0b10, kForward | kBackward,
    2, 0b011, kBackward | kPattern, 0b010, kBackward,
    2, 0b0011, kForward | kPattern, 0b0010, kForward,
    2, 0b0001'1, kIntra, 0b0001'0, kQuant | kForward | kBackward | kPattern,
    3, 0b0000'11, kQuant | kForward | kPattern, 0b0000'10, kQuant | kBackward | kPattern,
        0b0000'01, kQuant | kIntra,
    kVlcListEnd};
// clang-format on

}  // namespace

constinit const VlcList kMacroblockTypeListI(kNumbersI);
constinit const VlcList kMacroblockTypeListP(kNumbersP);
constinit const VlcList kMacroblockTypeListB(kNumbersB);

}  // namespace Vexmora
