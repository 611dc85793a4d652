// Anchors that are missing between the records of an index are noticed by what was predicted from them.
#include "frames/MissingAnchors.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexmoraHost {
namespace {

struct Coded {
    char type;  // - for a hole
    std::int8_t past = 0;
    std::int8_t future = 0;
};
struct Case {
    const char* name;
    std::vector<Coded> pictures;  // in display order
    std::string missed;           // x: predicted from a lost anchor
};
constexpr Coded kHole{'-'};
constexpr Coded kI{'I'};
constexpr Coded kFirstB{'B', -1, 2};
constexpr Coded kSecondB{'B', -2, 1};
constexpr Coded kP{'P', -3};

const Case kCases[] = {
    {"whole", {{'B', 2, 2}, {'B', 1, 1}, kI, kFirstB, kSecondB, kP, kFirstB, kSecondB, kI}, "........."},
    {"a lost B picture", {kI, kFirstB, kSecondB, kP, kHole, kSecondB, kP, kFirstB, kHole, kP}, ".........."},
    {"a lost P picture",
     {kI, kFirstB, kSecondB, kP, {'B', -4, -1}, {'B', -5, -2}, kHole, {'B', -4, 2}, {'B', -5, 1}, {'P', -6}},
     "....xx.xxx"},
    {"a lost P picture and its B pictures",
     {kI, kFirstB, kSecondB, kP, kHole, kHole, kHole, {'B', -4, 2}, {'B', -5, 1}, {'P', -6}},
     ".......xxx"},
    {"a lost B picture where there are no others",
     {kI, {'P', -1}, {'P', -1}, kFirstB, kHole, {'P', -3}},
     "......"},
    {"a lost P picture of P pictures alone", {kI, {'P', -1}, kHole, {'P', -2}, {'P', -1}}, "...x."},
    {"nothing to compare with", {kI, kHole, {'P', -2}, kHole, {'P', -2}}, "....."},
    {"farther apart, but with all pictures", {kI, {'P', -1}, {'B', -1, 1}, {'P', -2}}, "...."},
    {"references outside", {{'P', -1}, {'B', 1, 100}, {'B', -100, 1}, kHole, {'P', -4}}, ".x..."},
};

TEST(MissingAnchors, AreNoticedByWhatWasPredictedFromThem) {
    for (const Case& item : kCases) {
        SCOPED_TRACE(item.name);
        std::vector<Vexmora::FrameRecord> records;
        for (const Coded& coded : item.pictures) {
            Vexmora::FrameRecord record{};
            const std::size_t type = std::string("-IPB").find(coded.type);
            record.size = type == 0 ? 0 : 100;
            record.flags = static_cast<std::uint16_t>(type << 13);
            record.pastRefDelta = coded.past;
            record.futureRefDelta = coded.future;
            records.push_back(record);
        }
        const MissingAnchors lost(records);
        std::string missed;
        for (std::size_t i = 0; i < records.size(); ++i) missed += lost.AreMissedBy(i) ? 'x' : '.';
        EXPECT_EQ(missed, item.missed);
    }
}

}  // namespace
}  // namespace VexmoraHost
