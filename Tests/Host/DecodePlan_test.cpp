// Plans for random groups of pictures, worked off in any order: each picture once, after its references, and
// none held longer than it is needed.
#include "frames/DecodePlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <set>

namespace VexmoraHost {
namespace {

struct Node {
    std::array<std::int32_t, 2> references{kNoRecord, kNoRecord};
    std::uint64_t place = 0;
};

// Pictures in display order with up to inMostB B pictures between two anchors.
std::vector<Node> RandomStream(std::mt19937& ioRandom, std::uint32_t inMostB) {
    std::vector<Node> stream;
    std::int32_t anchor = kNoRecord;
    std::uint64_t place = 0;
    while (stream.size() < 60) {
        const auto bPictures = anchor == kNoRecord ? 0 : ioRandom() % (inMostB + 1);
        const auto next = static_cast<std::int32_t>(stream.size() + bPictures);
        const std::uint64_t anchorPlace = place++;
        for (std::uint32_t b = 0; b < bPictures; ++b) stream.push_back({{anchor, next}, place++});
        stream.push_back({{ioRandom() % 5 == 0 ? kNoRecord : anchor, kNoRecord}, anchorPlace});
        anchor = next;
    }
    return stream;
}

TEST(DecodePlan, DecodesEachPictureOnceAfterItsReferencesAndHoldsFew) {
    std::mt19937 random(11);
    for (std::uint32_t round = 0; round < 200; ++round) {
        const std::uint32_t mostB = round % 4;
        const std::vector<Node> stream = RandomStream(random, mostB);
        const std::size_t window = mostB + 2 + random() % 10;
        const std::size_t workers = 1 + random() % 4;
        DecodePlan plan([&](std::int32_t inRecord) {
            const Node& node = stream[static_cast<std::size_t>(inRecord)];
            return DecodePlan::Known{.picture = nullptr,
                                     .references = {.records = node.references},
                                     .place = {.offset = node.place, .record = inRecord}};
        });
        std::map<std::int32_t, SharedPicture> decoded;
        std::vector<PictureTask> underWay;
        std::size_t wanted = 0;
        for (std::int32_t next = 0; next < static_cast<std::int32_t>(stream.size()); ++next) {
            for (; wanted < std::min(static_cast<std::size_t>(next) + window, stream.size()); ++wanted) {
                plan.Want(static_cast<std::int32_t>(wanted));
            }
            while (plan.Find(next) == nullptr) {
                while (underWay.size() < workers && plan.CanStart()) {
                    underWay.push_back(*plan.Start());
                    const auto& [record, references, predictedFrom] = underWay.back();
                    EXPECT_FALSE(decoded.contains(record)) << "again";
                    for (const Direction direction : {kPast, kFuture}) {
                        const auto used = decoded.find(references.records[direction]);
                        EXPECT_EQ(predictedFrom[direction], used == decoded.end() ? nullptr : used->second);
                        EXPECT_EQ(references.records[direction] == kNoRecord, used == decoded.end());
                    }
                }
                ASSERT_FALSE(underWay.empty());
                const auto done = underWay.begin() + static_cast<std::ptrdiff_t>(random() % underWay.size());
                const SharedPicture picture = std::make_shared<Picture>();
                plan.Finish(done->record, picture);
                decoded[done->record] = picture;
                underWay.erase(done);
            }
            EXPECT_EQ(plan.Find(next), decoded[next]);
            plan.Release(next);
            EXPECT_LE(plan.Pictures(), window + 2 + mostB);
        }
        EXPECT_EQ(decoded.size(), stream.size());
        EXPECT_FALSE(plan.CanStart());
        EXPECT_LE(plan.Pictures(), 3u) << "the last one and its references";
    }
}

// In coding order: 0 I, 3 P, 1 and 2 B, 6 P, 4 and 5 B, 9 P, 7 and 8 B.
TEST(DecodePlan, StartsTheNextAnchorBesideTheBPicturesBeforeIt) {
    DecodePlan plan([](std::int32_t inRecord) {
        DecodePlan::Known known;
        if (inRecord == 0) known.picture = std::make_shared<Picture>();
        const bool isB = inRecord % 3 != 0;
        known.references.records = {(inRecord - 1) / 3 * 3, isB ? (inRecord / 3 + 1) * 3 : kNoRecord};
        known.place = {static_cast<std::uint64_t>(isB ? inRecord + 1 : inRecord - 2), isB, inRecord};
        return known;
    });
    for (std::int32_t record = 0; record < 9; ++record) plan.Want(record);
    std::vector<std::int32_t> order;
    while (const auto task = plan.Start()) {
        order.push_back(task->record);
        plan.Finish(task->record, std::make_shared<Picture>());
    }
    EXPECT_EQ(order, (std::vector<std::int32_t>{3, 6, 1, 2, 9, 4, 5, 7, 8}));
}

}  // namespace
}  // namespace VexmoraHost
