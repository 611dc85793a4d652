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

ProcessorFacts Other(std::uint32_t inEcx, std::uint32_t inEdx = kEdxSse2) {
    ProcessorFacts facts;
    facts.identifies = true;
    facts.is64Bit = true;
    facts.leaf1Ecx = inEcx;
    facts.leaf1Edx = inEdx;
    return facts;
}

ProcessorFacts Intel(std::uint32_t inSignature, std::uint32_t inEcx, std::uint32_t inCores = 1) {
    ProcessorFacts facts = Other(inEcx);
    facts.isIntel = true;
    facts.signature = inSignature;
    facts.coresPerPackage = inCores;
    return facts;
}

/// A processor with AVX whose operating system saves it, and with AVX2 if asked for.
ProcessorFacts WithAvx(bool inAvx2) {
    ProcessorFacts facts = Other(kAvx | kOsSavesState);
    facts.extendedControl = 7;
    facts.leaf7Ebx = inAvx2 ? 1U << 5 | 1U << 8 : 0;
    return facts;
}

TEST(Variant, TypeCodeOfProcessor) {
    EXPECT_EQ(ProcessorTypeCode(ProcessorFacts{}), 0);
    const struct {
        ProcessorFacts facts;
        int code;
    } kCases[] = {{Intel(0x00000F41, kSse41), 0x42},
                  {Intel(0x00100F41, kSse41), 0x44},
                  {Intel(0x000006F6, kSsse3, 2), 0x21},
                  {Intel(0x000006F6, kSsse3, 4), 0x22},
                  {Intel(0x000006F6, kSse3), 0x42},
                  {Intel(0x00010676, kSse41), 0x23},
                  {Intel(0x000106A5, kSse42), 0x25},
                  {Intel(0x000106A5, kAvx), 0x46},
                  {Intel(0x000106A5, kSse41), 0x44},
                  {Intel(0x000106C2, kSsse3 | kMovbe), 0x24},
                  {Intel(0x000106C2, kSsse3), 0x43},
                  {Intel(0x000206A7, kAvx), 0x46},
                  {Other(kAvx), 0x46},
                  {Other(kSse42), 0x45},
                  {Other(kSse41), 0x44},
                  {Other(kSsse3), 0x43},
                  {Other(kSse3), 0x42},
                  {Other(0), 0x41},
                  {Other(0, 1U << 25), 0x40},
                  {Other(0, 0), 0x60}};
    for (const auto& one : kCases) {
        EXPECT_EQ(ProcessorTypeCode(one.facts), one.code)
            << std::hex << one.facts.signature << " " << one.facts.leaf1Ecx;
    }
}

TEST(Variant, ChoiceByCode) {
    constexpr int kSelected = 0, kUnknownCode = 21, kNoVariant = 36;
    const struct {
        int code;
        int status;
        int index;
        std::uint32_t lastFeature;
    } kCases[] = {{0x00, kSelected, 1, kFeatureSse3},
                  {0x22, kSelected, 2, kFeatureSsse3},
                  {0x24, kSelected, 3, kFeatureMovbe},
                  {0x44, kSelected, 4, kFeatureSse41},
                  {0x45, kSelected, 4, kFeatureSse42},
                  {0x47, kSelected, 4, kFeatureAes},
                  {0x46, kSelected, 5, kFeatureOsAvx},
                  {0x01, kNoVariant, 0, 0},
                  {0x0B, kNoVariant, 0, 0},
                  {0x41, kNoVariant, 0, 0},
                  {0x60, kNoVariant, 0, 0},
                  {0x0C, kUnknownCode, 0, 0},
                  {-3, kUnknownCode, 0, 0},
                  {0x48, kUnknownCode, 0, 0}};
    for (const auto& one : kCases) {
        const VariantChoice choice = ChooseVariant(one.code, {});
        EXPECT_EQ(static_cast<int>(choice.status), one.status) << one.code;
        EXPECT_EQ(choice.variant.index, one.index) << one.code;
        EXPECT_EQ(choice.variant.features & one.lastFeature, one.lastFeature) << one.code;
    }
}

TEST(Variant, AutomaticChoiceAndItsTable) {
    ProcessorFacts unsaved = WithAvx(true);
    unsaved.extendedControl = 3;
    const struct {
        ProcessorFacts facts;
        int index;
        int table;
    } kCases[] = {{Other(0), 0, 0},
                  {Other(kSse3), 1, 1},
                  {Other(kSsse3), 2, 2},
                  {Other(kSsse3 | kMovbe), 3, 3},
                  {Other(kSse41 | kMovbe), 4, 4},
                  {unsaved, 4, 4},
                  {WithAvx(false), 5, 5},
                  {WithAvx(true), 5, kAvx2Table}};
    for (const auto& one : kCases) {
        const VariantChoice choice = ChooseVariant(kAutomaticVariant, one.facts);
        EXPECT_EQ(static_cast<int>(choice.status), 20);
        EXPECT_EQ(choice.variant.index, one.index);
        EXPECT_EQ(choice.variant.features, FeaturesOf(one.facts));
        EXPECT_EQ(TableFor(choice.variant.index, one.facts), one.table);
        // Whatever is asked for, a processor is never handed code that it cannot run.
        EXPECT_EQ(TableFor(kVariantCount - 1, one.facts), one.table);
    }
    EXPECT_EQ(ChooseVariant(kAutomaticVariant, Intel(0x000206A7, kSse42)).status, SelectStatus::Selected);
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
