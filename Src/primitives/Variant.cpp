// From a processor to its type code, from the code to the variant, and the choice of the process.
#include "primitives/Variant.h"

#include <array>
#include <atomic>

namespace Vexmora {
namespace {

constexpr std::uint32_t kUpToSse3 = kFeatureMmx | kFeatureSse | kFeatureSse2 | kFeatureSse3;
constexpr std::uint32_t kUpToSsse3 = kUpToSse3 | kFeatureSsse3;
constexpr std::uint32_t kUpToSse41 = kUpToSsse3 | kFeatureSse41;
constexpr std::uint32_t kUpToSse42 = kUpToSse41 | kFeatureSse42;
constexpr std::uint32_t kUpToAes = kUpToSse42 | kFeatureAes | kFeaturePclmulqdq;
constexpr std::uint32_t kUpToAvx = kUpToAes | kFeatureAvx | kFeatureOsAvx;

struct CodeRow {
    int code;
    Variant variant;
};

constexpr std::array kCodes{
    CodeRow{0x00, {1, kUpToSse3}},
    CodeRow{0x20, {1, kUpToSse3}},
    CodeRow{0x42, {1, kUpToSse3}},
    CodeRow{0x21, {2, kUpToSsse3}},
    CodeRow{0x22, {2, kUpToSsse3}},
    CodeRow{0x43, {2, kUpToSsse3}},
    CodeRow{0x24, {3, kUpToSsse3 | kFeatureMovbe}},
    CodeRow{0x23, {4, kUpToSse41}},
    CodeRow{0x44, {4, kUpToSse41}},
    CodeRow{0x25, {4, kUpToSse42}},
    CodeRow{0x45, {4, kUpToSse42}},
    CodeRow{0x26, {4, kUpToAes}},
    CodeRow{0x47, {4, kUpToAes}},
    CodeRow{0x46, {5, kUpToAvx}},
};

struct FeatureRow {
    std::uint32_t feature;
    int code;
};

constexpr std::array kHighestFeatureFirst{FeatureRow{kFeatureAvx, 0x46},   FeatureRow{kFeatureSse42, 0x45},
                                          FeatureRow{kFeatureSse41, 0x44}, FeatureRow{kFeatureSsse3, 0x43},
                                          FeatureRow{kFeatureSse3, 0x42},  FeatureRow{kFeatureSse2, 0x41},
                                          FeatureRow{kFeatureSse, 0x40}};

bool HasNoVariant(int inCode) {
    return (inCode >= 0x01 && inCode <= 0x0B) || inCode == 0x40 || inCode == 0x41 || inCode == 0x60;
}

bool HasAll(std::uint32_t inFeatures, std::uint32_t inNeeded) {
    return (inFeatures & inNeeded) == inNeeded;
}

// Codes of single models of family 6, or 0.
int ModelTypeCode(std::uint32_t inModel, std::uint32_t inFeatures, std::uint32_t inCores) {
    const auto has = [inFeatures](std::uint32_t inNeeded) { return HasAll(inFeatures, inNeeded); };
    if (inModel == 15 && has(kFeatureSsse3)) return inCores > 2 ? 0x22 : 0x21;
    if (inModel == 23 && has(kFeatureSse41)) return 0x23;
    if (inModel == 26 && has(kFeatureAvx)) return 0x46;
    if (inModel == 26 && has(kFeatureSse42)) return 0x25;
    if (inModel == 28 && has(kFeatureSsse3 | kFeatureMovbe)) return 0x24;
    return 0;
}

Variant BestVariant(std::uint32_t inFeatures) {
    const auto has = [inFeatures](std::uint32_t inNeeded) { return HasAll(inFeatures, inNeeded); };
    if (has(kFeatureAvx | kFeatureOsAvx)) return {5, inFeatures};
    if (has(kFeatureSse41)) return {4, inFeatures};
    if (has(kFeatureSsse3 | kFeatureMovbe)) return {3, inFeatures};
    if (has(kFeatureSsse3)) return {2, inFeatures};
    if (has(kFeatureSse3)) return {1, inFeatures};
    return {0, inFeatures};
}

// The selection of the process: written by SelectProcessorVariant before decoding, read by everyone. Variant
// 0 needs nothing beyond the architecture's baseline, so it may serve from the start.
struct Selection {
    std::atomic<int> index{0};
    std::atomic<std::uint32_t> features{0};
    std::atomic<int> table{0};
};
constinit Selection gSelection;

}  // namespace

int ProcessorTypeCode(const ProcessorFacts& inFacts) {
    if (!inFacts.identifies) return 0;
    const std::uint32_t features = FeaturesOf(inFacts);
    if (inFacts.isIntel) {
        const std::uint32_t family = (inFacts.signature >> 8) & 0xF;
        const std::uint32_t extended_family = (inFacts.signature >> 20) & 0xFF;
        if (family == 15 && extended_family == 0) return 0x42;
        const std::uint32_t model = ((inFacts.signature >> 12) & 0xF0) | ((inFacts.signature >> 4) & 0xF);
        const int code = family == 6 ? ModelTypeCode(model, features, inFacts.coresPerPackage) : 0;
        if (code != 0) return code;
    }
    for (const FeatureRow& row : kHighestFeatureFirst) {
        if (HasAll(features, row.feature)) return row.code;
    }
    return inFacts.is64Bit ? 0x60 : 0;
}

VariantChoice ChooseVariant(int inCode, const ProcessorFacts& inFacts) {
    if (inCode == kAutomaticVariant) {
        return {inFacts.isIntel ? SelectStatus::Selected : SelectStatus::SelectedForOtherVendor,
                BestVariant(FeaturesOf(inFacts))};
    }
    for (const CodeRow& row : kCodes) {
        if (row.code == inCode) return {SelectStatus::Selected, row.variant};
    }
    return {HasNoVariant(inCode) ? SelectStatus::NoVariant : SelectStatus::UnknownCode, {}};
}

int TableFor(int inIndex, const ProcessorFacts& inFacts) {
    const int runs = BestVariant(FeaturesOf(inFacts)).index;
    if (inIndex == 5 && runs == 5 && RunsAvx2(inFacts)) return kAvx2Table;
    return inIndex < runs ? inIndex : runs;
}

int ProcessorTypeCode() {
    return ProcessorTypeCode(RunningProcessor());
}

SelectStatus SelectProcessorVariant(int inCode) {
    const ProcessorFacts& facts = RunningProcessor();
    const VariantChoice choice = ChooseVariant(inCode, facts);
    if (choice.Selects()) {
        gSelection.index.store(choice.variant.index, std::memory_order_relaxed);
        gSelection.features.store(choice.variant.features, std::memory_order_relaxed);
        gSelection.table.store(TableFor(choice.variant.index, facts), std::memory_order_relaxed);
    }
    return choice.status;
}

Variant SelectedVariant() {
    return {gSelection.index.load(std::memory_order_relaxed),
            gSelection.features.load(std::memory_order_relaxed)};
}

int SelectedTable() {
    return gSelection.table.load(std::memory_order_relaxed);
}

}  // namespace Vexmora
