// The lists of variable-length codes, taken apart.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora::Test {

struct ListedCode {
    unsigned length;
    std::uint32_t bits;
    std::array<std::int32_t, 2> values;  // the second one is 0 where there is one
};

/// The codes of a list, each of which has inValuesPerCode values.
inline std::vector<ListedCode> CodesOf(VlcList inList, std::size_t inValuesPerCode) {
    std::vector<ListedCode> codes;
    std::size_t at = 2 + static_cast<std::size_t>(inList[1]);
    for (unsigned length = 1; inList[at] != kVlcListEnd; ++length) {
        for (std::int32_t count = inList[at++]; count > 0; --count, at += 1 + inValuesPerCode) {
            codes.push_back({length,
                             static_cast<std::uint32_t>(inList[at]),
                             {inList[at + 1], inValuesPerCode == 2 ? inList[at + 2] : 0}});
        }
    }
    return codes;
}

}  // namespace Vexmora::Test
