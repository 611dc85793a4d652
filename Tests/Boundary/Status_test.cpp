// What each inner status is to a host, by the numbers of both.
#include <gtest/gtest.h>

#include "Decoder/ExportedStatus.h"

namespace Vexmora {
namespace {

struct Row {
    int inner;
    int exported;
};

template <typename Inner>
void ExpectRows(std::initializer_list<Row> inRows) {
    for (const Row& row : inRows) {
        EXPECT_EQ(ToExported(static_cast<Inner>(row.inner)), row.exported) << row.inner;
    }
}

TEST(Statuses, InnerOnesBecomeExportedOnes) {
    ExpectRows<ReadStatus>({{0, 0}, {-3, -2}, {-4, -3}, {-6, -3}, {-7, -3}, {-11, -5}});
    ExpectRows<DecodeStatus>({{0, 0}, {-1, 0}, {-2, 0}, {-6, -3}, {-12, -3}});
    ExpectRows<WriteIndexStatus>({{0, 0}, {-2, -7}, {-5, -7}, {-7, -7}, {-8, -7}, {-9, -7}});
}

}  // namespace
}  // namespace Vexmora
