// What the tests of the primitives share: the tables that this processor runs, coded words.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "Support/CodeLists.h"
#include "Support/Random.h"
#include "Support/StreamBuilder.h"
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
