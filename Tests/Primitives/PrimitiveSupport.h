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
#include "primitives/PrimitiveTable.h"
#include "primitives/Variant.h"

namespace Vexmora::Test {

struct NamedTable {
    const PrimitiveTable* primitives;
    std::string name;
};

/// The portable implementation and every table that the running processor can execute.
inline std::vector<NamedTable> RunnableTables() {
    std::vector<NamedTable> tables{{&PortablePrimitives(), "portable"}};
    const int highest = TableFor(kVariantCount - 1, RunningProcessor());
    for (int table = 0; table <= highest; ++table) {
        tables.push_back({&PrimitivesAt(table), "table " + std::to_string(table)});
    }
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

}  // namespace Vexmora::Test
