// The numbers of the inverse transforms for reduced pictures, which follow application note AP-922.
#pragma once

#include <cstdint>

namespace Vexmora {
namespace {

constexpr int kRows = 8;
constexpr int kColumns = 4;
constexpr int kRowShift = 12;
constexpr int kColumnShift = 5;

/// Factors of one row, scaled for the column pass; even for x0 and x2, odd for x1 and x3. The last four
/// values of a row mirror the first four: the even part with x2 negated, the odd part with its own factors.
struct RowFactors {
    std::int32_t t0[4];
    std::int32_t t1[4];
    std::int32_t t2[4];
    std::int32_t t3[4];
};

constexpr RowFactors kFactors04{{16384, 21407, 16384, -8867},
                                {16384, -21407, 16384, 8867},
                                {22725, 19266, 12873, -22725},
                                {4520, -12873, 19266, -4520}};
constexpr RowFactors kFactors17{{22725, 29692, 22725, -12299},
                                {22725, -29692, 22725, 12299},
                                {31521, 26722, 17855, -31521},
                                {6270, -17855, 26722, -6270}};
constexpr RowFactors kFactors26{{21407, 27969, 21407, -11585},
                                {21407, -27969, 21407, 11585},
                                {29692, 25172, 16819, -29692},
                                {5906, -16819, 25172, -5906}};
constexpr RowFactors kFactors35{{19266, 25172, 19266, -10426},
                                {19266, -25172, 19266, 10426},
                                {26722, 22654, 15137, -26722},
                                {5315, -15137, 22654, -5315}};

constexpr const RowFactors* kFactors[kRows] = {&kFactors04, &kFactors17, &kFactors26, &kFactors35,
                                               &kFactors04, &kFactors35, &kFactors26, &kFactors17};
constexpr std::int32_t kRounding[kRows] = {65536, 5802, 4520, 3408, 2048, 910, 1024, 746};

// Tangents and the cosine over 2^16; what exceeds a signed 16-bit factor is 1 less here and adds its input.
constexpr std::int32_t kTan1 = 13036;
constexpr std::int32_t kTan2 = 27146;
constexpr std::int32_t kTan3Less1 = 43790 - 65536;
constexpr std::int32_t kCos4Less1 = 46341 - 65536;

/// Whether the samples of the reduced transforms are all equal to (the DC coefficient + 4) >> 3. inColumns
/// are the four columns of coefficients that count. The rounding constants of rows 1 and 2 would lower rows 3
/// and 4 of a flat block by 1 where the DC lies half way between two levels; flat blocks stay flat.
inline bool IsReducedFlat(const std::int16_t* inColumns) {
    std::uint32_t seen = 0;
    for (int i = 1; i < kColumns * kRows; ++i) seen |= static_cast<std::uint16_t>(inColumns[i]);
    return seen == 0;
}

}  // namespace
}  // namespace Vexmora
