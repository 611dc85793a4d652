// The inverse transforms for reduced pictures: the values at even columns, and at even rows too for a
// quarter. They follow the fixed-point row and column scheme of application note AP-922, cut down to four
// inputs a row.
#include <algorithm>
#include <cstring>

#include "primitives/BlockDecode.h"
#include "primitives/kernels/ReducedIdctFactors.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

std::int16_t Saturate(std::int32_t inValue) {
    return static_cast<std::int16_t>(std::clamp<std::int32_t>(inValue, INT16_MIN, INT16_MAX));
}

// A 16-bit number whose sums and differences saturate, as packed arithmetic does.
struct Packed {
    std::int16_t value;

    friend Packed operator+(Packed inLeft, Packed inRight) {
        return {Saturate(inLeft.value + inRight.value)};
    }
    friend Packed operator-(Packed inLeft, Packed inRight) {
        return {Saturate(inLeft.value - inRight.value)};
    }
    // inValue times inFactor / 2^16.
    friend Packed operator*(Packed inValue, std::int32_t inFactor) {
        return {static_cast<std::int16_t>((inValue.value * inFactor) >> 16)};
    }
};

void TransformRow(const std::int16_t* inRowOfColumns, int inRow, Packed (&outValues)[kColumns]) {
    const auto x = [=](int inColumn) { return inRowOfColumns[inColumn * kRows]; };
    const RowFactors& factors = *kFactors[inRow];
    for (int i = 0; i < 2; ++i) {
        const int at = 2 * i;
        const std::int32_t even0 = x(0) * factors.t0[at] + x(2) * factors.t0[at + 1];
        const std::int32_t even1 = x(0) * factors.t1[at] + x(2) * factors.t1[at + 1];
        const std::int32_t odd0 = x(1) * factors.t2[at] + x(3) * factors.t2[at + 1];
        const std::int32_t odd1 = x(1) * factors.t3[at] + x(3) * factors.t3[at + 1];
        outValues[i] = {Saturate((even0 + kRounding[inRow] + odd0) >> kRowShift)};
        outValues[i + 2] = {Saturate((even1 + kRounding[inRow] - odd1) >> kRowShift)};
    }
}

// The 8-point column transform; outValues are the pixels' values.
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

void ReducedIdct(const CoefficientBlock& inBlock, Output& outValues) {
    if (IsReducedFlat(inBlock.values)) {
        const std::int16_t flat = static_cast<std::int16_t>((inBlock.values[0] + 4) >> 3);
        std::fill_n(&outValues[0][0], kRows * kColumns, flat);
        return;
    }
    Packed rows[kRows][kColumns];
    for (int row = 0; row < kRows; ++row) TransformRow(inBlock.values + row, row, rows[row]);
    for (int column = 0; column < kColumns; ++column) {
        std::int16_t values[kRows];
        TransformColumn(rows, column, values);
        for (int row = 0; row < kRows; ++row) outValues[row][column] = values[row];
    }
}

enum class Target { Replace, Add };

// Every inEvery-th row of the transform, clipped, in consecutive rows of pixels or on top of them.
template <Target kTarget>
PrimitiveStatus ToPixels(const CoefficientBlock& inBlock, std::uint8_t* ioPixels, std::ptrdiff_t inStep,
                         int inEvery) {
    if (ioPixels == nullptr) return PrimitiveStatus::NullPointer;
    Output values;
    ReducedIdct(inBlock, values);
    for (int row = 0; row < kRows; row += inEvery, ioPixels += inStep) {
        for (int column = 0; column < kColumns; ++column) {
            const int before = kTarget == Target::Add ? ioPixels[column] : 0;
            ioPixels[column] = static_cast<std::uint8_t>(std::clamp(before + values[row][column], 0, 255));
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
    return ToPixels<Target::Replace>(inBlock, outPixels, inStep, 1);
}

PrimitiveStatus ReducedIdctAddToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                                std::ptrdiff_t inStep) {
    return ToPixels<Target::Add>(inBlock, ioPixels, inStep, 1);
}

PrimitiveStatus ReducedIdctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                               std::ptrdiff_t inStepBytes) {
    return ToResidual(inBlock, outResidual, inStepBytes, 1);
}

PrimitiveStatus QuarterIdctToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                             std::ptrdiff_t inStep) {
    return ToPixels<Target::Replace>(inBlock, outPixels, inStep, 2);
}

PrimitiveStatus QuarterIdctAddToPixels_Portable(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                                std::ptrdiff_t inStep) {
    return ToPixels<Target::Add>(inBlock, ioPixels, inStep, 2);
}

PrimitiveStatus QuarterIdctToResidual_Portable(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                               std::ptrdiff_t inStepBytes) {
    return ToResidual(inBlock, outResidual, inStepBytes, 2);
}

}  // namespace Vexmora
