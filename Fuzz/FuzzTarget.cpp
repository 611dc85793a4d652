// The entry of a fuzz target, and the choice of the processor variant.
#include "FuzzTarget.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "Vexmora/ContractSink.h"
#include "primitives/PrimitiveTable.h"
#include "primitives/Variant.h"

namespace Vexmora::Test {
namespace {

// Each leads to another variant, where the processor has it. The last way is that of other processors.
constexpr std::array kVariantCodes{0x20, 0x43, 0x24, 0x45, 0x46, 0x20};
static_assert(kWays == 2 * kVariantCodes.size());
bool gIsPortable = false;

// The tolerance for irregular tables grows with those that the process has seen: an input must do the same as
// the first one of a process and as the last one.
void WearOutTheTolerance() {
    Bytes stream = PatPacket(kPmtPid);
    for (int table = 0; table < 10; ++table) stream = Join({stream, PmtPacket(kPmtPid, {{0x80, 0x30}})});
    static_cast<void>(Index(stream));
}

bool SetUp() {
    testing::GTEST_FLAG(throw_on_failure) = true;
    WearOutTheTolerance();
    return true;
}

}  // namespace

// While the library is not started, it decodes on the calling thread alone.
WorkingIn::WorkingIn(const Way& inWay) : mIsStarted(inWay.isParallel) {
    if (mIsStarted) Vexmora_Startup();
    gIsPortable = inWay.variant + 1 == kVariantCodes.size();
    EXPECT_EQ(SelectProcessorVariant(kVariantCodes.at(inWay.variant)), SelectStatus::Selected);
}

WorkingIn::~WorkingIn() {
    if (mIsStarted) Vexmora_Shutdown();
    gIsPortable = false;
}

// The linker puts these in the place of SelectedPrimitives and gives the original the other name.
const PrimitiveTable& OriginalPrimitives() __asm__("__real__ZN7Vexmora18SelectedPrimitivesEv");
const PrimitiveTable& FuzzedPrimitives() __asm__("__wrap__ZN7Vexmora18SelectedPrimitivesEv");
const PrimitiveTable& FuzzedPrimitives() {
    return gIsPortable ? PortablePrimitives() : OriginalPrimitives();
}

}  // namespace Vexmora::Test

void Pavlin_OnContractViolation(const char* inExpression, const char* inSourcePath, int inLine) {
    std::fprintf(stderr, "%s(%d): does not hold: %s\n", inSourcePath, inLine, inExpression);
    std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    static const bool isSetUp = Vexmora::Test::SetUp();
    Vexmora::Test::Choices choices({inData, isSetUp ? inSize : 0});
    Vexmora::Test::FuzzOne(choices);
    return 0;
}
