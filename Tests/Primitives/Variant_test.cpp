// Which processor gets which type code and which variant.
#include "primitives/Variant.h"

#include <gtest/gtest.h>

namespace Vexmora {
namespace {

// Feature bits of leaf 1 as the processor manuals number them.
constexpr std::uint32_t kEdxSse2 = 1U << 23 | 1U << 25 | 1U << 26;
constexpr std::uint32_t kSse3 = 1U << 0;
constexpr std::uint32_t kSsse3 = 1U << 9 | kSse3;
constexpr std::uint32_t kSse41 = 1U << 19 | kSsse3;
constexpr std::uint32_t kSse42 = 1U << 20 | kSse41;
constexpr std::uint32_t kMovbe = 1U << 22;
constexpr std::uint32_t kOsSavesState = 1U << 27;
constexpr std::uint32_t kAvx = 1U << 28 | 1U << 25 | 1U << 1 | kSse42;

/// A signature makes it one of the vendor whose models have codes of their own.
ProcessorFacts Facts(std::uint32_t inEcx, std::uint32_t inSignature = 0, std::uint32_t inCores = 1,
                     std::uint32_t inEdx = kEdxSse2) {
    return {.identifies = true,
            .isIntel = inSignature != 0,
            .is64Bit = true,
            .signature = inSignature,
            .leaf1Ecx = inEcx,
            .leaf1Edx = inEdx,
            .coresPerPackage = inCores};
}

/// A processor with AVX, with AVX2 if asked for, and an operating system that saves what inControl says.
ProcessorFacts WithAvx(bool inAvx2, std::uint64_t inControl = 7) {
    ProcessorFacts facts = Facts(kAvx | kOsSavesState);
    facts.extendedControl = inControl;
    facts.leaf7Ebx = inAvx2 ? 1U << 5 | 1U << 8 : 0;
    return facts;
}

TEST(Variant, TypeCodeOfProcessor) {
    EXPECT_EQ(ProcessorTypeCode(ProcessorFacts{}), 0);
    const struct {
        ProcessorFacts facts;
        int code;
    } kCases[] = {{Facts(kSse41, 0x00000F41), 0x42},
                  {Facts(kSse41, 0x00100F41), 0x44},
                  {Facts(kSsse3, 0x000006F6, 2), 0x21},
                  {Facts(kSsse3, 0x000006F6, 4), 0x22},
                  {Facts(kSse3, 0x000006F6), 0x42},
                  {Facts(kSse41, 0x00010676), 0x23},
                  {Facts(kSse42, 0x000106A5), 0x25},
                  {Facts(kAvx, 0x000106A5), 0x46},
                  {Facts(kSsse3 | kMovbe, 0x000106C2), 0x24},
                  {Facts(kSsse3, 0x000106C2), 0x43},
                  {Facts(kSse42), 0x45},
                  {Facts(0), 0x41},
                  {Facts(0, 0, 1, 1U << 25), 0x40},
                  {Facts(0, 0, 1, 0), 0x60}};
    for (const auto& one : kCases) {
        EXPECT_EQ(ProcessorTypeCode(one.facts), one.code)
            << std::hex << one.facts.signature << " " << one.facts.leaf1Ecx;
    }
}

TEST(Variant, ChoiceByCode) {
    using enum SelectStatus;
    const struct {
        int code;
        SelectStatus status;
        int index;
        std::uint32_t lastFeature;
    } kCases[] = {{0x00, Selected, 1, kFeatureSse3},
                  {0x22, Selected, 2, kFeatureSsse3},
                  {0x24, Selected, 3, kFeatureMovbe},
                  {0x44, Selected, 4, kFeatureSse41},
                  {0x45, Selected, 4, kFeatureSse42},
                  {0x47, Selected, 4, kFeatureAes},
                  {0x46, Selected, 5, kFeatureOsAvx},
                  {0x0B, NoVariant, 0, 0},
                  {0x41, NoVariant, 0, 0},
                  {0x60, NoVariant, 0, 0},
                  {0x0C, UnknownCode, 0, 0},
                  {-3, UnknownCode, 0, 0}};
    for (const auto& one : kCases) {
        const VariantChoice choice = ChooseVariant(one.code, {});
        EXPECT_EQ(choice.status, one.status) << one.code;
        EXPECT_EQ(choice.variant.index, one.index) << one.code;
        EXPECT_EQ(choice.variant.features & one.lastFeature, one.lastFeature) << one.code;
    }
}

TEST(Variant, AutomaticChoiceAndItsTable) {
    const struct {
        ProcessorFacts facts;
        int index;
        int table;
    } kCases[] = {{Facts(0), 0, 0},
                  {Facts(kSse3), 1, 1},
                  {Facts(kSsse3), 2, 2},
                  {Facts(kSsse3 | kMovbe), 3, 3},
                  {Facts(kSse41 | kMovbe), 4, 4},
                  {WithAvx(true, 3), 4, 4},
                  {WithAvx(false), 5, 5},
                  {WithAvx(true), 5, kAvx2Table}};
    for (const auto& one : kCases) {
        const VariantChoice choice = ChooseVariant(kAutomaticVariant, one.facts);
        EXPECT_EQ(choice.status, SelectStatus::SelectedForOtherVendor);
        EXPECT_EQ(choice.variant.index, one.index);
        EXPECT_EQ(choice.variant.features, FeaturesOf(one.facts));
        EXPECT_EQ(TableFor(choice.variant.index, one.facts), one.table);
        // Whatever is asked for, a processor is never handed code that it cannot run.
        EXPECT_EQ(TableFor(kVariantCount - 1, one.facts), one.table);
    }
    EXPECT_EQ(ChooseVariant(kAutomaticVariant, Facts(kSse42, 0x000206A7)).status, SelectStatus::Selected);
}

TEST(Variant, SelectionStaysWhenACodeHasNoVariant) {
    ASSERT_EQ(SelectProcessorVariant(0x46), SelectStatus::Selected);
    EXPECT_EQ(SelectedVariant().index, 5);
    ASSERT_EQ(SelectProcessorVariant(0x45), SelectStatus::Selected);
    EXPECT_EQ(SelectedVariant().index, 4);
    EXPECT_EQ(SelectProcessorVariant(0x40), SelectStatus::NoVariant);
    EXPECT_EQ(SelectProcessorVariant(0x99), SelectStatus::UnknownCode);
    EXPECT_EQ(SelectedVariant().index, 4);
}

}  // namespace
}  // namespace Vexmora
