// The start-code search for any processor.
#include "primitives/portable/Portable.h"

namespace Vexmora {

std::size_t FindStartCodePrefix_Portable(const std::uint8_t* inBytes, std::size_t inPositions) {
    std::size_t at = 0;
    while (at < inPositions) {
        const std::uint8_t third = inBytes[at + 2];
        if (third > 1) {  // No prefix contains this byte.
            at += 3;
        } else if (third == 0) {
            ++at;
        } else if (inBytes[at] == 0 && inBytes[at + 1] == 0) {
            return at;
        } else {  // A byte of 1 only ends a prefix.
            at += 3;
        }
    }
    return inPositions;
}

}  // namespace Vexmora
