// What the levels of a picture's blocks are multiplied with, for every quantiser_scale_code.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/Parameters.h"
#include "primitives/BlockDecode.h"

namespace Vexmora {

/// Which quantiser matrix a block takes (ISO/IEC 13818-2, table 7-5).
enum class BlockKind : std::uint8_t { IntraLuma, IntraChroma, NonIntraLuma, NonIntraChroma };

/// Made once for a picture, so that a macroblock that changes the quantiser costs no more than others; only
/// read while slices are decoded.
class QuantisationTables {
  public:
    explicit QuantisationTables(const DecodingParameters& inParameters);

    /// inQuantiserScaleCode is 0 to 31.
    const ScaledPositions& Find(BlockKind inKind, std::uint32_t inQuantiserScaleCode) const {
        return mTables[mTableOf[static_cast<std::size_t>(inKind)]][inQuantiserScaleCode];
    }

  private:
    static constexpr std::size_t kKinds = 4;
    static constexpr std::size_t kCodes = 32;

    std::array<std::array<ScaledPositions, kCodes>, kKinds> mTables;  // filled as far as needed
    std::array<std::uint8_t, kKinds> mTableOf;                        // kinds with one matrix share a table
};

}  // namespace Vexmora
