// Copies and fills of bytes.
#include <cstring>

#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

// A width known at compile time makes every row one or two moves.
template <std::size_t kWidth>
void CopyRows(const std::uint8_t* inSource, std::ptrdiff_t inSourceStep, std::uint8_t* outDestination,
              std::ptrdiff_t inDestinationStep, std::int32_t inHeight) {
    for (std::int32_t y = 0; y < inHeight; ++y) {
        std::memcpy(outDestination, inSource, kWidth);
        inSource += inSourceStep;
        outDestination += inDestinationStep;
    }
}

}  // namespace

PrimitiveStatus CopyBlock_Portable(const std::uint8_t* inSource, std::ptrdiff_t inSourceStep,
                                   std::uint8_t* outDestination, std::ptrdiff_t inDestinationStep,
                                   std::int32_t inWidth, std::int32_t inHeight) {
    if (inSource == nullptr || outDestination == nullptr) return PrimitiveStatus::NullPointer;
    if (inWidth <= 0 || inHeight <= 0) return PrimitiveStatus::SizeNotPositive;
    if (inWidth == 16) {
        CopyRows<16>(inSource, inSourceStep, outDestination, inDestinationStep, inHeight);
    } else if (inWidth == 8) {
        CopyRows<8>(inSource, inSourceStep, outDestination, inDestinationStep, inHeight);
    } else if (inWidth == 4) {
        CopyRows<4>(inSource, inSourceStep, outDestination, inDestinationStep, inHeight);
    } else {
        for (std::int32_t y = 0; y < inHeight; ++y) {
            std::memcpy(outDestination + y * inDestinationStep, inSource + y * inSourceStep,
                        static_cast<std::size_t>(inWidth));
        }
    }
    return PrimitiveStatus::Ok;
}

PrimitiveStatus CopyBytes_Portable(const std::uint8_t* inSource, std::uint8_t* outDestination,
                                   std::int64_t inLength) {
    if (inSource == nullptr || outDestination == nullptr) return PrimitiveStatus::NullPointer;
    if (inLength <= 0) return PrimitiveStatus::SizeNotPositive;
    std::memcpy(outDestination, inSource, static_cast<std::size_t>(inLength));
    return PrimitiveStatus::Ok;
}

PrimitiveStatus FillBlock_Portable(std::uint8_t inValue, std::uint8_t* outDestination, std::ptrdiff_t inStep,
                                   std::int32_t inWidth, std::int32_t inHeight) {
    if (outDestination == nullptr) return PrimitiveStatus::NullPointer;
    if (inWidth <= 0 || inHeight <= 0) return PrimitiveStatus::SizeNotPositive;
    for (std::int32_t y = 0; y < inHeight; ++y) {
        std::memset(outDestination + y * inStep, inValue, static_cast<std::size_t>(inWidth));
    }
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
