// The reversal of the bytes of each word, two words at a time.
#include <bit>
#include <cstring>

#include "primitives/portable/Portable.h"

namespace Vexmora {

void SwapWords_Portable(std::uint8_t* ioBytes, std::size_t inWords) {
    constexpr std::size_t kWordBytes = 4;
    for (; inWords >= 2; inWords -= 2, ioBytes += 2 * kWordBytes) {
        std::uint64_t words;
        std::memcpy(&words, ioBytes, sizeof words);
        words = std::rotl(__builtin_bswap64(words), 32);
        std::memcpy(ioBytes, &words, sizeof words);
    }
    if (inWords == 1) {
        std::uint32_t word;
        std::memcpy(&word, ioBytes, sizeof word);
        word = __builtin_bswap32(word);
        std::memcpy(ioBytes, &word, sizeof word);
    }
}

}  // namespace Vexmora
