// The start-code search of every table against the plain definition.
#include "primitives/StartCodeSearch.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

std::size_t Expected(const std::uint8_t* inBytes, std::size_t inPositions) {
    for (std::size_t at = 0; at < inPositions; ++at) {
        if (inBytes[at] == 0 && inBytes[at + 1] == 0 && inBytes[at + 2] == 1) return at;
    }
    return inPositions;
}

/// Searches a copy whose last byte is the last of its memory.
void ExpectAllAgree(const Bytes& inBytes, std::size_t inMisalignment) {
    ASSERT_GE(inBytes.size(), 2U);
    const std::size_t positions = inBytes.size() - 2;
    const auto memory = std::make_unique<std::uint8_t[]>(inMisalignment + inBytes.size());
    std::uint8_t* bytes = memory.get() + inMisalignment;
    std::memcpy(bytes, inBytes.data(), inBytes.size());
    for (const NamedTable& table : RunnableTables()) {
        ASSERT_EQ(table.primitives->findStartCodePrefix(bytes, positions), Expected(bytes, positions))
            << table.name << ", " << positions << " positions";
    }
    ASSERT_EQ(FindStartCodePrefix(bytes, positions), Expected(bytes, positions));
}

TEST(StartCodeSearch, AllLengthsAndAlignmentsInBytesOfAllDensities) {
    Random random;
    for (std::size_t positions = 0; positions <= 300; ++positions) {
        for (const int highest : {1, 2, 8, 255}) {
            Bytes bytes(positions + 2);
            for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random.Between(0, highest));
            ExpectAllAgree(bytes, positions % 32);
        }
    }
}

TEST(StartCodeSearch, OnePrefixAtEveryPlaceAmongNearMisses) {
    for (const auto filler : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{255}}) {
        for (std::size_t at = 0; at <= 300; ++at) {
            Bytes bytes(302, filler);
            const std::uint8_t prefix[] = {0, 0, 1};
            std::copy_n(prefix, std::min<std::size_t>(3, bytes.size() - at),
                        bytes.begin() + static_cast<long>(at));
            ExpectAllAgree(bytes, at % 32);
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
