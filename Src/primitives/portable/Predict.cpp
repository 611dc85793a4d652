// Predictions with half-sample interpolation (ISO/IEC 13818-2, 7.6.4), their average, and the residual on
// top.
#include <cstring>

#include "primitives/Prediction.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

std::uint8_t ToPixel(int inValue) {
    return static_cast<std::uint8_t>(inValue < 0 ? 0 : inValue > 255 ? 255 : inValue);
}

// The prediction as kWidth x kHeight samples without gaps.
template <std::size_t kWidth, std::size_t kHeight>
void Interpolate(const ReferenceBlock& inReference, std::uint8_t (&outSamples)[kHeight][kWidth]) {
    const std::uint8_t* row = inReference.samples;
    const std::ptrdiff_t step = inReference.step;
    const auto fill = [&](auto inSampleAt) {
        for (std::size_t y = 0; y < kHeight; ++y, row += step) {
            std::uint8_t line[kWidth];  // Cannot overlap the reference, so compilers vectorise the loop.
            for (std::size_t x = 0; x < kWidth; ++x) line[x] = static_cast<std::uint8_t>(inSampleAt(row + x));
            std::memcpy(outSamples[y], line, kWidth);
        }
    };
    switch (inReference.halfSampleType) {
        case HalfSampleType::Full:
            return fill([](const std::uint8_t* in) { return in[0]; });
        case HalfSampleType::HalfHorizontal:
            return fill([](const std::uint8_t* in) { return (in[0] + in[1] + 1) >> 1; });
        case HalfSampleType::HalfVertical:
            return fill([step](const std::uint8_t* in) { return (in[0] + in[step] + 1) >> 1; });
        case HalfSampleType::HalfBoth:
            return fill([step](const std::uint8_t* in) {
                return (in[0] + in[1] + in[step] + in[step + 1] + 2) >> 2;
            });
    }
}

template <std::size_t kWidth, std::size_t kHeight>
void AddResidual(const std::uint8_t (&inSamples)[kHeight][kWidth], const ResidualBlock& inResidual,
                 const PixelBlock& outPixels) {
    const auto* residual = reinterpret_cast<const std::uint8_t*>(inResidual.samples);
    std::uint8_t* to = outPixels.samples;
    for (std::size_t y = 0; y < kHeight; ++y, to += outPixels.step) {
        if (residual == nullptr) {
            std::memcpy(to, inSamples[y], kWidth);
            continue;
        }
        std::int16_t add[kWidth];
        std::memcpy(add, residual, sizeof add);
        residual += inResidual.stepBytes;
        std::uint8_t line[kWidth];
        for (std::size_t x = 0; x < kWidth; ++x) line[x] = ToPixel(inSamples[y][x] + add[x]);
        std::memcpy(to, line, kWidth);
    }
}

}  // namespace

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlock_Portable(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                      const PixelBlock& outPixels) {
    if (inReference.samples == nullptr || outPixels.samples == nullptr) return PrimitiveStatus::NullPointer;
    std::uint8_t samples[kHeight][kWidth];
    Interpolate(inReference, samples);
    AddResidual(samples, inResidual, outPixels);
    return PrimitiveStatus::Ok;
}

template <std::size_t kWidth, std::size_t kHeight>
PrimitiveStatus PredictBlockBidirectional_Portable(const ReferenceBlock& inFirst,
                                                   const ReferenceBlock& inSecond,
                                                   const ResidualBlock& inResidual,
                                                   const PixelBlock& outPixels) {
    if (inFirst.samples == nullptr || inSecond.samples == nullptr || outPixels.samples == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    std::uint8_t samples[kHeight][kWidth];
    std::uint8_t second[kHeight][kWidth];
    Interpolate(inFirst, samples);
    Interpolate(inSecond, second);
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            samples[y][x] = static_cast<std::uint8_t>((samples[y][x] + second[y][x] + 1) >> 1);
        }
    }
    AddResidual(samples, inResidual, outPixels);
    return PrimitiveStatus::Ok;
}

VEXMORA_FOR_BLOCK_SIZES(VEXMORA_INSTANTIATE_PREDICTIONS, Portable)

}  // namespace Vexmora
