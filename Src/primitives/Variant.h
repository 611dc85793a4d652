// Which implementation of the primitives the process uses, and how a processor leads to it.
#pragma once

#include <cstdint>

#include "primitives/Processor.h"

namespace Vexmora {

/// Variant indices 0 to 5: 0 and 1 SSE2/SSE3, 2 SSSE3, 3 in-order SSSE3, 4 SSE4.1/SSE4.2, 5 AVX.
inline constexpr int kVariantCount = 6;

/// One more table than variants: variant 5 on a processor that also has AVX2 and BMI2.
inline constexpr int kAvx2Table = kVariantCount;
inline constexpr int kTableCount = kVariantCount + 1;

/// Code for SelectProcessorVariant: the best variant for the running processor.
inline constexpr int kAutomaticVariant = -1;

/// Results of a selection; all but the last two select something.
enum class SelectStatus : std::int32_t {
    Selected = 0,
    /// Selected automatically, though the processor's vendor is not the one the codes are made for.
    SelectedForOtherVendor = 20,
    /// No such code. Nothing was selected.
    UnknownCode = 21,
    /// The code has no variant of its own. Nothing was selected.
    NoVariant = 36,
};

struct Variant {
    int index = 0;
    /// ProcessorFeature bits that go with the selection.
    std::uint32_t features = 0;
};

struct VariantChoice {
    SelectStatus status = SelectStatus::UnknownCode;
    /// Meaningful when something was selected.
    Variant variant;

    bool Selects() const {
        return status == SelectStatus::Selected || status == SelectStatus::SelectedForOtherVendor;
    }
};

/// Type code of a processor with these facts, 0 when they do not tell.
int ProcessorTypeCode(const ProcessorFacts& inFacts);

/// What selecting inCode means on a processor with these facts; no state is touched.
VariantChoice ChooseVariant(int inCode, const ProcessorFacts& inFacts);

/// The table 0 to kTableCount - 1 that serves variant inIndex on such a processor: never one that it cannot
/// run.
int TableFor(int inIndex, const ProcessorFacts& inFacts);

/// Type code of the running processor, 0 when it cannot be told.
int ProcessorTypeCode();

/// Selects the variant for a type code, or the best one for kAutomaticVariant, for the whole process. To be
/// called before decoding threads run; without any call variant 0 serves.
[[nodiscard]] SelectStatus SelectProcessorVariant(int inCode);

/// The variant selected last.
Variant SelectedVariant();

/// The table that serves the selected variant.
int SelectedTable();

}  // namespace Vexmora
