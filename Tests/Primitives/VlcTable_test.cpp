// The code tables of MPEG-2 video: what they hold, and that every code decodes to its value.
#include "primitives/VlcTable.h"

#include <gtest/gtest.h>

#include <set>

#include "Primitives/PrimitiveSupport.h"
#include "primitives/VlcSymbol.h"

namespace Vexmora::Test {
namespace {

// The codes of a table: how many there are, and what they leave unused in parts of 65536. Unused are those
// that begin with many zeros, 8 of B.1's with the eleven bits of stuffing among them.
TEST(VlcTable, EveryCodeOfEveryTableDecodesAtEveryBit) {
    const struct {
        const char* name;
        VlcList list;
        std::size_t count;
        std::int64_t unused;
    } kLists[] = {{"B.1", kMacroblockAddressIncrementList, 34, 23 * 32},
                  {"B.2", kMacroblockTypeListI, 2, 16384},
                  {"B.3", kMacroblockTypeListP, 7, 1024},
                  {"B.4", kMacroblockTypeListB, 11, 1024},
                  {"B.9", kCodedBlockPatternList, 64, 128},
                  {"B.10", kMotionCodeList, 33, 3 * 256},
                  {"B.12", kDctDcSizeLuminanceList, 12, 0},
                  {"B.13", kDctDcSizeChrominanceList, 12, 0},
                  {"B.14, first", kDctFirstCoefficientList, 112, 16},
                  {"B.14", kDctCoefficientList, 113, 16},
                  {"B.15", kDctCoefficientAlternativeList, 113, 9 * 16}};
    for (const auto& one : kLists) {
        SCOPED_TRACE(one.name);
        const bool hasLevels = one.count > 100;
        VlcTable table;
        RunLevelTable runLevels;  // Those that are built have prefix-free codes.
        ASSERT_EQ(hasLevels ? BuildRunLevelTable(one.list, runLevels) : BuildVlcTable(one.list, table),
                  PrimitiveStatus::Ok);
        std::int64_t unused = 65536;
        std::set<std::array<std::int32_t, 2>> values;
        for (const ListedCode& code : CodesOf(one.list, hasLevels ? 2 : 1)) {
            unused -= 65536 >> code.length;
            values.insert(code.values);
            for (unsigned before = 0; before < 64 && !hasLevels; ++before) {
                const Bytes words = ToWords(BitWriter().Put(before, 0).Put(code.length, code.bits).Take());
                BitWindow position = PositionIn(words, before);
                std::int32_t value = 0;
                ASSERT_EQ(DecodeVlcSymbol(position, table, value), PrimitiveStatus::Ok);
                ASSERT_EQ(value, code.values[0]);
                ASSERT_EQ(position.NextBit(), before + code.length);
            }
        }
        EXPECT_EQ(unused, one.unused);
        EXPECT_EQ(values.size(), one.count);
    }
}

TEST(VlcTable, MissingCodesAndTheEndOfDataLeaveThePosition) {
    VlcTable table;
    ASSERT_EQ(BuildVlcTable(kMacroblockAddressIncrementList, table), PrimitiveStatus::Ok);
    const Bytes words = ToWords({0x00, 0x00, 0x00, 0x00});
    std::int32_t value = 77;
    BitWindow position = PositionIn(words, 3);
    EXPECT_EQ(DecodeVlcSymbol(position, table, value), PrimitiveStatus::BadCode);
    EXPECT_EQ(position.NextBit(), 3U);
    const Bytes last = ToWords({0x00, 0x00, 0x00, 0x01});
    for (const std::size_t at : {std::size_t{31}, std::size_t{32}, std::size_t{1000}}) {
        position = PositionIn(last, at);
        const PrimitiveStatus status = DecodeVlcSymbol(position, table, value);
        EXPECT_EQ(status, at == 31 ? PrimitiveStatus::Ok : PrimitiveStatus::BadCode);
    }
    // "010" cut after its second bit: the zero read behind the data completes the code, which does not count.
    position = PositionIn(last, 30);
    EXPECT_EQ(DecodeVlcSymbol(position, table, value), PrimitiveStatus::OutOfData);
    EXPECT_EQ(position.NextBit(), 30U);
    EXPECT_EQ(value, 1);
}

TEST(VlcTable, MalformedListsAreRefused) {
    const std::vector<std::vector<std::int32_t>> kLists{
        {},
        {2, 1, 2, 1, 0b1, 5, 1, 0b01, 6},                  // no end mark
        {2, 1, 2, 1, 0b1, 5, 1, 0b01, 6, kVlcListEnd, 0},  // something behind it
        {2, 1, 2, 1, 0b1, 5, 1, 0b10, 6, kVlcListEnd},     // a code that begins with another
        {2, 2, 1, 1, 1, 0b1, 5, 1, 0b11, 6, kVlcListEnd},  // the same over two stages
        {2, 1, 2, 2, 0b1, 5, 0b1, 6, 0, kVlcListEnd},      // one code twice
        {2, 1, 2, 1, 0b10, 5, 0, kVlcListEnd},             // a code longer than its length
        {2, 1, 1, 0, 1, 0b01, 5, kVlcListEnd},             // stages too short for the codes
        {2, 1, 2, 1 << 30, 0b1, 5, kVlcListEnd},           // more codes than there are
        {2, 1 << 30, 2, 1, 0b1, 5, 0, kVlcListEnd}};
    for (const auto& list : kLists) {
        VlcTable table{{{1, 1}}, 1};
        EXPECT_EQ(BuildVlcTable(list, table), PrimitiveStatus::BadTable) << ::testing::PrintToString(list);
        EXPECT_TRUE(table.entries.empty());
    }
    RunLevelTable table;
    for (const auto& [run, level] : {std::pair{64 + 3, 1}, {0, 0}, {0, 2048}}) {
        const std::vector<std::int32_t> list{1, 1, 2, 1, 0b1, run, level, kVlcListEnd};
        EXPECT_EQ(BuildRunLevelTable(list, table), PrimitiveStatus::BadTable) << run << ", " << level;
    }
}

}  // namespace
}  // namespace Vexmora::Test
