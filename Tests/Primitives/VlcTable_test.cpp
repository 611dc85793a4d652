// The code tables of MPEG-2 video: what they hold, and that every code decodes to its value.
#include "primitives/VlcTable.h"

#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <set>

#include "Primitives/PrimitiveSupport.h"
#include "mpeg2/vlc/VlcLists.h"
#include "primitives/VlcSymbol.h"

namespace Vexmora::Test {
namespace {

struct ListedCode {
    unsigned length;
    std::uint32_t bits;
    std::vector<std::int32_t> values;
};

std::vector<ListedCode> CodesOf(VlcList inList, std::size_t inValuesPerCode) {
    std::vector<ListedCode> codes;
    std::size_t at = 2 + static_cast<std::size_t>(inList[1]);
    for (unsigned length = 1; length <= static_cast<unsigned>(inList[0]); ++length) {
        for (std::int32_t count = inList[at++]; count > 0; --count) {
            ListedCode code{length, static_cast<std::uint32_t>(inList[at]), {}};
            for (std::size_t i = 1; i <= inValuesPerCode; ++i) code.values.push_back(inList[at + i]);
            codes.push_back(code);
            at += 1 + inValuesPerCode;
        }
    }
    EXPECT_EQ(inList[at], kVlcListEnd);
    EXPECT_EQ(at + 1, inList.size());
    return codes;
}

/// What the codes leave unused, in parts of 65536.
std::int64_t Unused(const std::vector<ListedCode>& inCodes) {
    std::int64_t unused = 65536;
    for (const ListedCode& code : inCodes) unused -= 65536 >> code.length;
    return unused;
}

std::set<std::int32_t> Range(std::int32_t inFirst, std::int32_t inLast) {
    std::set<std::int32_t> range;
    for (std::int32_t value = inFirst; value <= inLast; ++value) range.insert(value);
    return range;
}

struct SymbolList {
    const char* name;
    VlcList list;
    std::int64_t unused;
    std::set<std::int32_t> values;
};

std::vector<SymbolList> SymbolLists() {
    std::set<std::int32_t> increments = Range(1, 33);
    increments.insert(65535);
    // Unused are the codes that begin with many zeros, 8 of B.1's with the eleven bits of stuffing among
    // them.
    return {{"B.1", kMacroblockAddressIncrementList, 23 * 32, increments},
            {"B.2", kMacroblockTypeListI, 16384, {1, 17}},
            {"B.3", kMacroblockTypeListP, 1024, {10, 2, 8, 1, 26, 18, 17}},
            {"B.4", kMacroblockTypeListB, 1024, {12, 14, 4, 6, 8, 10, 1, 30, 26, 22, 17}},
            {"B.9", kCodedBlockPatternList, 128, Range(0, 63)},
            {"B.10", kMotionCodeList, 3 * 256, Range(-16, 16)},
            {"B.12", kDctDcSizeLuminanceList, 0, Range(0, 11)},
            {"B.13", kDctDcSizeChrominanceList, 0, Range(0, 11)}};
}

TEST(VlcTable, EveryCodeOfEverySymbolTableDecodesAtEveryBit) {
    for (const SymbolList& one : SymbolLists()) {
        SCOPED_TRACE(one.name);
        VlcTable table;
        ASSERT_EQ(BuildVlcTable(one.list, table), PrimitiveStatus::Ok);  // So the codes are prefix-free.
        const std::vector<ListedCode> codes = CodesOf(one.list, 1);
        EXPECT_EQ(Unused(codes), one.unused);
        std::set<std::int32_t> values;
        for (const ListedCode& code : codes) {
            EXPECT_TRUE(values.insert(code.values[0]).second) << code.values[0];
            for (unsigned before = 0; before < 64; ++before) {
                const Bytes words = ToWords(BitWriter().Put(before, 0).Put(code.length, code.bits).Take());
                BitWindow position = PositionIn(words, before);
                std::int32_t value = 0;
                ASSERT_EQ(DecodeVlcSymbol(position, table, value), PrimitiveStatus::Ok);
                ASSERT_EQ(value, code.values[0]);
                ASSERT_EQ(position.NextBit(), before + code.length);
            }
        }
        EXPECT_EQ(values, one.values);
    }
}

TEST(VlcTable, CoefficientTablesHoldTheSamePairsInPrefixFreeCodes) {
    // The highest level of each run in tables B.14 and B.15.
    std::map<std::int32_t, std::int32_t> highest{{0, 40}, {1, 18}, {2, 5}, {3, 4}, {4, 3}, {5, 3}, {6, 3}};
    for (std::int32_t run = 7; run <= 31; ++run) highest[run] = run <= 16 ? 2 : 1;
    std::set<std::pair<std::int32_t, std::int32_t>> expected;
    for (const auto& [run, level] : highest) {
        for (std::int32_t l = 1; l <= level; ++l) expected.insert({run, l});
    }
    const struct {
        VlcList list;
        std::int64_t unused;
        bool hasEndOfBlock;
    } kLists[] = {{kDctFirstCoefficientList, 16, false},
                  {kDctCoefficientList, 16, true},
                  {kDctCoefficientAlternativeList, 9 * 16, true}};
    for (const auto& one : kLists) {
        RunLevelTable table;
        ASSERT_EQ(BuildRunLevelTable(one.list, table), PrimitiveStatus::Ok);
        const std::vector<ListedCode> codes = CodesOf(one.list, 2);
        EXPECT_EQ(Unused(codes), one.unused);
        std::set<std::pair<std::int32_t, std::int32_t>> pairs;
        for (const ListedCode& code : codes) pairs.insert({code.values[0], code.values[1]});
        EXPECT_EQ(pairs.size(), codes.size());
        EXPECT_EQ(pairs.erase({kRunEscape, 0}), 1U);
        EXPECT_EQ(pairs.erase({kRunEndOfBlock, 0}), one.hasEndOfBlock ? 1U : 0U);
        EXPECT_EQ(pairs, expected);
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
