// The search for start codes on any processor.
#include "mpeg_system/StartCodes.h"
#include "primitives/kernels/QuietPackets.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

struct Search {
    template <std::size_t kPositions>
    static bool HasZeroPair(const std::uint8_t* inBytes) {
        for (std::size_t at = 0; at < kPositions; ++at) {
            if (inBytes[at] == 0 && inBytes[at + 1] == 0) return true;
        }
        return false;
    }
    static std::size_t FindCodeButSlices(const std::uint8_t* inBytes, std::size_t inPositions) {
        return FindCodeButSlices_Portable(inBytes, inPositions);
    }
};

}  // namespace

std::size_t FindStartCodePrefix_Portable(const std::uint8_t* inBytes, std::size_t inPositions) {
    std::size_t at = 0;
    while (at < inPositions) {
        const std::uint8_t third = inBytes[at + 2];
        if (third == 0) {
            ++at;
        } else if (third == 1 && inBytes[at] == 0 && inBytes[at + 1] == 0) {
            return at;
        } else {  // No prefix contains another byte, and one of 1 only ends a prefix.
            at += 3;
        }
    }
    return inPositions;
}

std::size_t FindCodeButSlices_Portable(const std::uint8_t* inBytes, std::size_t inPositions) {
    std::size_t at = FindStartCodePrefix_Portable(inBytes, inPositions);
    while (at < inPositions && IsSliceStartCode(StartCodeAt(inBytes + at))) {
        ++at;
        at += FindStartCodePrefix_Portable(inBytes + at, inPositions - at);
    }
    return at;
}

QuietPackets PassQuietPackets_Portable(const std::uint8_t* inPackets, std::size_t inCount,
                                       std::uint32_t inVideoPid) {
    return QuietPacketSearch<Search>::Pass(inPackets, inCount, inVideoPid);
}

}  // namespace Vexmora
