// What the tests of the primitives share: the tables that this processor runs, random numbers, coded words.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Support/Options.h"
#include "Support/StreamBuilder.h"
#include "mpeg2/vlc/VlcLists.h"
#include "primitives/PrimitiveTable.h"
#include "primitives/Variant.h"

namespace Vexmora::Test {

/// Every table that the running processor can execute, and last the portable implementation.
inline std::vector<const PrimitiveTable*> RunnableTables() {
    std::vector<const PrimitiveTable*> tables;
    const int highest = TableFor(kVariantCount - 1, RunningProcessor());
    for (int table = 0; table <= highest; ++table) tables.push_back(&PrimitivesAt(table));
    tables.push_back(&PortablePrimitives());
    return tables;
}

/// Random numbers from VEXMORA_SEED, which is printed.
class RandomNumbers {
  public:
    int Between(int inLowest, int inHighest) {
        return std::uniform_int_distribution<int>(inLowest, inHighest)(mEngine);
    }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(Between(0, 255)); }

  private:
    std::mt19937 mEngine{Option("VEXMORA_SEED", 1)};
};

/// Coded bytes as words in host order, in memory of just their size.
inline Bytes ToWords(Bytes inBytes) {
    inBytes.resize((inBytes.size() + 3) / 4 * 4);
    for (auto at = inBytes.begin(); at != inBytes.end(); at += 4) std::reverse(at, at + 4);
    return {inBytes.begin(), inBytes.end()};
}

/// The beginning of such words.
inline BitWindow PositionIn(const Bytes& inWords, std::size_t inBit = 0) {
    return {inWords.data(), inWords.size() / 4, inBit};
}

struct ListedCode {
    unsigned length;
    std::uint32_t bits;
    std::vector<std::int32_t> values;
};

/// The codes of a list, each of which has inValuesPerCode values.
inline std::vector<ListedCode> CodesOf(VlcList inList, std::size_t inValuesPerCode) {
    std::vector<ListedCode> codes;
    std::size_t at = 2 + static_cast<std::size_t>(inList[1]);
    for (unsigned length = 1; length <= static_cast<unsigned>(inList[0]); ++length) {
        for (std::int32_t count = inList[at++]; count > 0; --count, at += 1 + inValuesPerCode) {
            const std::int32_t* const values = &inList[at + 1];
            codes.push_back(
                {length, static_cast<std::uint32_t>(inList[at]), {values, values + inValuesPerCode}});
        }
    }
    return codes;
}

}  // namespace Vexmora::Test
