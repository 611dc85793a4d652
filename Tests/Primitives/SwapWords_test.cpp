// The byte reversal of every table, over every length, in bytes that end where their memory ends.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

TEST(SwapWords, ReversesEachWordAndNothingBehind) {
    for (const NamedTable& table : RunnableTables()) {
        for (std::size_t words = 0; words <= 70; ++words) {
            const std::size_t misalignment = words % 5;
            const auto memory = std::make_unique<std::uint8_t[]>(misalignment + 4 * words);
            std::uint8_t* bytes = memory.get() + misalignment;
            for (std::size_t i = 0; i < 4 * words; ++i) bytes[i] = static_cast<std::uint8_t>(i);
            table.primitives->swapWords(bytes, words);
            for (std::size_t i = 0; i < 4 * words; ++i) {
                ASSERT_EQ(bytes[i], static_cast<std::uint8_t>(i / 4 * 4 + 3 - i % 4))
                    << table.name << ", " << words << " words";
            }
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
