// The inverse transforms for reduced pictures: the values at even columns, and at even rows too for a
// quarter. They follow the fixed-point row and column scheme of application note AP-922, cut down to four
// inputs a row.
#include <algorithm>
#include <cstring>

#include "primitives/BlockDecode.h"
#include "primitives/portable/Portable.h"

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

std::int16_t Saturate(std::int32_t inValue) {
    return static_cast<std::int16_t>(std::clamp<std::int32_t>(inValue, INT16_MIN, INT16_MAX));
}

/// A 16-bit number whose sums and differences saturate, as packed arithmetic does.
struct Packed {
    std::int16_t value;

    friend Packed operator+(Packed inLeft, Packed inRight) {
        return {Saturate(inLeft.value + inRight.value)};
    }
    friend Packed operator-(Packed inLeft, Packed inRight) {
        return {Saturate(inLeft.value - inRight.value)};
    }
    /// inValue times inFactor / 2^16.
    friend Packed operator*(Packed inValue, std::int32_t inFactor) {
        return {static_cast<std::int16_t>((inValue.value * inFactor) >> 16)};
    }
};

void TransformRow(const std::int16_t* inValues, int inRow, Packed (&outValues)[kColumns]) {
    const RowFactors& factors = *kFactors[inRow];
    for (int i = 0; i < 2; ++i) {
        const int at = 2 * i;
        const std::int32_t even0 = inValues[0] * factors.t0[at] + inValues[2] * factors.t0[at + 1];
        const std::int32_t even1 = inValues[0] * factors.t1[at] + inValues[2] * factors.t1[at + 1];
        const std::int32_t odd0 = inValues[1] * factors.t2[at] + inValues[3] * factors.t2[at + 1];
        const std::int32_t odd1 = inValues[1] * factors.t3[at] + inValues[3] * factors.t3[at + 1];
        outValues[i] = {Saturate((even0 + kRounding[inRow] + odd0) >> kRowShift)};
        outValues[i + 2] = {Saturate((even1 + kRounding[inRow] - odd1) >> kRowShift)};
    }
}

/// The 8-point column transform; outValues are the pixels' values.
void TransformColumn(const Packed (&inRows)[kRows][kColumns], int inColumn,
                     std::int16_t (&outValues)[kRows]) {
    const auto x = [&](int inRow) { return inRows[inRow][inColumn]; };
    const Packed tp17 = x(7) * kTan1 + x(1);
    const Packed tm17 = x(1) * kTan1 - x(7);
    const Packed tp35 = x(5) * kTan3Less1 + x(5) + x(3);
    const Packed tm35 = x(3) * kTan3Less1 + x(3) - x(5);
    const Packed sum = tp17 - tp35;
    const Packed difference = tm17 + tm35;
    const Packed plus = sum + difference;
    const Packed minus = sum - difference;
    const Packed odd[4] = {tp17 + tp35, plus * kCos4Less1 + plus, minus * kCos4Less1 + minus, tm17 - tm35};

    const Packed tp04 = x(0) + x(4);
    const Packed tm04 = x(0) - x(4);
    const Packed tp26 = x(6) * kTan2 + x(2);
    const Packed tm26 = x(2) * kTan2 - x(6);
    const Packed even[4] = {tp04 + tp26, tm04 + tm26, tm04 - tm26, tp04 - tp26};
    for (int i = 0; i < 4; ++i) {
        outValues[i] = static_cast<std::int16_t>((even[i] + odd[i]).value >> kColumnShift);
        outValues[7 - i] = static_cast<std::int16_t>((even[i] - odd[i]).value >> kColumnShift);
    }
}

using Output = std::int16_t[kRows][kColumns];

/// Whether the DC coefficient is the only one in the columns that count.
bool IsDcOnly(const CoefficientBlock& inBlock) {
    std::int16_t seen = 0;
    for (int row = 0; row < kRows; ++row) {
        for (int column = row == 0 ? 1 : 0; column < kColumns; ++column) {
            seen = static_cast<std::int16_t>(seen | inBlock.values[row * 8 + column]);
        }
    }
    return seen == 0;
}

void ReducedIdct(const CoefficientBlock& inBlock, Output& outValues) {
    // The rounding constants of rows 1 and 2 would lower rows 3 and 4 of a flat block by 1 where the DC lies
    // half way between two levels; flat blocks stay flat.
    if (IsDcOnly(inBlock)) {
        const std::int16_t flat = static_cast<std::int16_t>((inBlock.values[0] + 4) >> 3);
        std::fill_n(&outValues[0][0], kRows * kColumns, flat);
        return;
    }
    Packed rows[kRows][kColumns];
    for (int row = 0; row < kRows; ++row) TransformRow(inBlock.values + row * 8, row, rows[row]);
    for (int column = 0; column < kColumns; ++column) {
        std::int16_t values[kRows];
        TransformColumn(rows, column, values);
        for (int row = 0; row < kRows; ++row) outValues[row][column] = values[row];
    }
}

/// Every inEvery-th row of the transform as consecutive rows of pixels.
PrimitiveStatus ToPixels(const CoefficientBlock& inBlock, std::uint8_t* outPixels, std::ptrdiff_t inStep,
                         int inEvery) {
    if (outPixels == nullptr) return PrimitiveStatus::NullPointer;
    Output values;
    ReducedIdct(inBlock, values);
    for (int row = 0; row < kRows; row += inEvery, outPixels += inStep) {
        for (int column = 0; column < kColumns; ++column) {
            outPixels[column] = static_cast<std::uint8_t>(std::clamp<int>(values[row][column], 0, 255));
        }
    }
    return PrimitiveStatus::Ok;
}

PrimitiveStatus ToResidual(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                           std::ptrdiff_t inStepBytes, int inEvery) {
    if (outResidual == nullptr) return PrimitiveStatus::NullPointer;
    Output values;
    ReducedIdct(inBlock, values);
    auto* to = reinterpret_cast<std::uint8_t*>(outResidual);
    for (int row = 0; row < kRows; row += inEvery, to += inStepBytes) {
        std::memcpy(to, values[row], sizeof values[row]);
    }
    return PrimitiveStatus::Ok;
}

}  // namespace

PrimitiveStatus ReducedIdctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                             std::ptrdiff_t inStep) {
    return ToPixels(inBlock, outPixels, inStep, 1);
}

PrimitiveStatus ReducedIdctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                               std::ptrdiff_t inStepBytes) {
    return ToResidual(inBlock, outResidual, inStepBytes, 1);
}

PrimitiveStatus QuarterIdctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                             std::ptrdiff_t inStep) {
    return ToPixels(inBlock, outPixels, inStep, 2);
}

PrimitiveStatus QuarterIdctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                               std::ptrdiff_t inStepBytes) {
    return ToResidual(inBlock, outResidual, inStepBytes, 2);
}

}  // namespace Vexmora
