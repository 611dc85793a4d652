// Start-up and shut-down are counted.
#include "Startup/Startup.h"

#include <gtest/gtest.h>

#include "primitives/Variant.h"

namespace Vexmora {
namespace {

TEST(Startup, TheExecutorLivesFromTheFirstCallToTheLastBalance) {
    EXPECT_FALSE(CpuExecutor());
    Shutdown();  // one too many is ignored
    Startup();
    const auto executor = CpuExecutor();
    ASSERT_TRUE(executor);
    EXPECT_GE(executor->ProcessorCount(), 1);
    Startup();
    EXPECT_EQ(CpuExecutor(), executor) << "made once";
    Shutdown();
    EXPECT_EQ(CpuExecutor(), executor);
    Shutdown();
    EXPECT_FALSE(CpuExecutor());
}

TEST(Startup, SelectsTheVariantOfThisProcessor) {
    Startup();
    const int table = SelectedTable();
    ASSERT_TRUE(SelectProcessorVariant(kAutomaticVariant) == SelectStatus::Selected ||
                SelectProcessorVariant(kAutomaticVariant) == SelectStatus::SelectedForOtherVendor);
    EXPECT_EQ(table, SelectedTable()) << "what automatic selection would have chosen";
    Shutdown();
}

}  // namespace
}  // namespace Vexmora
