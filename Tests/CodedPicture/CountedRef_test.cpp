// References count.
#include "CodedPicture/CountedRef.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Vexmora {
namespace {

struct Tracked {
    explicit Tracked(int& ioLive, bool inThrows = false) : live(ioLive) {
        if (inThrows) throw std::runtime_error("no object");
        ++live;
    }
    ~Tracked() { --live; }
    int& live;
};

TEST(CountedRef, TheLastReferenceDestroysObjectAndCount) {
    const std::size_t blocks = Orvet::Allocator::LiveCount();
    int live = 0;
    auto first = CountedRef<Tracked>::Make(live);
    EXPECT_EQ(Orvet::Allocator::LiveCount(), blocks + 1);
    CountedRef<Tracked> second = first;
    CountedRef<Tracked> third = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): moved from means empty
    EXPECT_EQ(second.Get(), third.Get());
    second = *&second;
    second = CountedRef<Tracked>();
    EXPECT_EQ(live, 1);
    third = CountedRef<Tracked>::Make(live);
    EXPECT_EQ(live, 1);
    third = {};
    EXPECT_EQ(live, 0);
    EXPECT_THROW((void)CountedRef<Tracked>::Make(live, true), std::runtime_error);
    EXPECT_EQ(Orvet::Allocator::LiveCount(), blocks);
}

}  // namespace
}  // namespace Vexmora
