// Variable-length decoding, inverse scan, inverse quantisation and mismatch control of one block (ISO/IEC
// 13818-2, 7.2 to 7.4).
#include "primitives/BlockDecode.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "primitives/BitWindow.h"
#include "primitives/VlcSymbol.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

RunLevelEntry LookUp(const RunLevelEntry* inEntries, std::int32_t inFirstBits, std::uint64_t inBits) {
    constexpr std::int32_t kAllBits = BitWindow::kWindowBits;
    std::int32_t bits = inFirstBits;
    RunLevelEntry entry = inEntries[inBits >> (kAllBits - bits)];
    while (entry.length < 0) [[unlikely]] {
            inBits <<= bits;
            bits = entry.run;
            entry = inEntries[static_cast<std::uint64_t>(entry.level) + (inBits >> (kAllBits - bits))];
        }
    return entry;
}

template <typename Table>
bool IsUsable(const Table* inTable) {
    return inTable != nullptr && !inTable->entries.empty();
}

constexpr std::int32_t kMaximum = 2047;
constexpr std::int32_t kMinimum = -2048;
constexpr unsigned kCoefficients = 64;

constexpr auto kFlatWeights = [] {
    std::array<std::uint16_t, kCoefficients> weights;
    weights.fill(16);
    return weights;
}();

/// Collects the coefficients of a block.
class BlockBuilder {
  public:
    explicit BlockBuilder(CoefficientBlock& outBlock) : mBlock(outBlock) {
        std::memset(mBlock.values, 0, sizeof mBlock.values);
    }

    void Set(unsigned inPosition, std::int32_t inValue) {
        mBlock.values[inPosition] = static_cast<std::int16_t>(inValue);
        mReach |= inPosition;
        mParity ^= inValue;
    }
    /// Mismatch control: makes the sum of all coefficients odd.
    void Finish() {
        mBlock.values[63] = static_cast<std::int16_t>(mBlock.values[63] ^ (~mParity & 1));
        mBlock.reach = mReach;
    }

  private:
    CoefficientBlock& mBlock;
    std::uint32_t mReach = 0;
    std::int32_t mParity = 0;
};

/// What the two kinds of blocks have in common for their run-level codes.
struct AcCoding {
    const RunLevelTable& table;
    const std::uint8_t* scan;
    const std::uint16_t* weights;
    std::uint32_t quantiserScale;
};

enum class Kind { Intra, NonIntra };

/// Inverse quantisation of one level, and its saturation. inWeight is the weight times the quantiser scale.
template <Kind kKind>
std::int32_t Dequantise(std::int32_t inLevel, std::uint32_t inWeight) {
    const std::int32_t sign = inLevel >> 31;  // -1 or 0
    const std::uint32_t doubled = 2 * static_cast<std::uint32_t>((inLevel ^ sign) - sign);
    const std::uint32_t magnitude = ((kKind == Kind::Intra ? doubled : doubled + 1) * inWeight) / 32;
    const std::uint32_t largest = static_cast<std::uint32_t>(kMaximum - sign);
    const auto saturated = static_cast<std::int32_t>(magnitude < largest ? magnitude : largest);
    return (saturated ^ sign) - sign;
}

/// The fixed-length part of an escaped coefficient: 6 bits of run, 12 of level. Levels 0 and -2048 are
/// forbidden.
PrimitiveStatus ReadEscape(BitWindow& ioBits, std::uint32_t& outRun, std::int32_t& outLevel) {
    const std::uint32_t bits = ioBits.Show(18);
    ioBits.Skip(18);
    outRun = bits >> 12;
    outLevel = static_cast<std::int32_t>(bits << 20) >> 20;
    return outLevel == 0 || outLevel == kMinimum ? PrimitiveStatus::BadCode : PrimitiveStatus::Ok;
}

/// Decodes run-level codes up to the end of the block. inNext is the number of the first coefficient that
/// they stand for, inFirstTable where the first code is looked up.
template <Kind kKind>
PrimitiveStatus DecodeRunLevels(BitWindow& ioBits, const RunLevelTable& inFirstTable,
                                const AcCoding& inCoding, std::uint32_t inNext, BlockBuilder& ioBlock) {
    const RunLevelEntry* const entries = inCoding.table.entries.data();
    const std::int32_t first_bits = inCoding.table.firstBits;
    RunLevelEntry entry = LookUp(inFirstTable.entries.data(), inFirstTable.firstBits, ioBits.Bits());
    for (std::uint32_t next = inNext;;) {
        ioBits.Skip(static_cast<unsigned>(entry.length));
        std::int32_t level = entry.level;
        std::uint32_t index = next + entry.run;
        if (index >= kCoefficients) [[unlikely]] {
            if (entry.run == kRunEndOfBlock) return PrimitiveStatus::Ok;
            if (entry.run == kRunNoCode) return PrimitiveStatus::BadCode;
            if (entry.run == kRunEscape) {
                std::uint32_t run = 0;
                const PrimitiveStatus status = ReadEscape(ioBits, run, level);
                if (status != PrimitiveStatus::Ok) return status;
                index = next + run;
            }
            if (index >= kCoefficients) return PrimitiveStatus::TooManyCoefficients;
        }
        next = index + 1;
        entry = LookUp(entries, first_bits, ioBits.Bits());
        const unsigned position = inCoding.scan[index];
        const std::uint32_t weight = inCoding.weights[position];
        ioBlock.Set(position, Dequantise<kKind>(level, weight * inCoding.quantiserScale));
    }
}

/// The differential of a DC coefficient, whose top bit clear means that it is negative.
PrimitiveStatus ReadDcDifferential(BitWindow& ioBits, const VlcTable& inSizeTable,
                                   std::int32_t& outDifferential) {
    const VlcEntry entry = FindCode(inSizeTable, ioBits.Bits());
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    ioBits.Skip(static_cast<unsigned>(entry.length));
    outDifferential = 0;
    if (entry.value == 0) return PrimitiveStatus::Ok;
    const unsigned size = static_cast<unsigned>(entry.value);
    outDifferential = static_cast<std::int32_t>(ioBits.Show(size));
    if (outDifferential >> (size - 1) == 0) outDifferential -= (1 << size) - 1;
    ioBits.Skip(size);
    return PrimitiveStatus::Ok;
}

}  // namespace

PrimitiveStatus DecodeIntraBlock_Portable(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                          std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    if (ioBits.Data() == nullptr || !IsUsable(inCoding.dcSizeTable) || !IsUsable(inCoding.acTable) ||
        inCoding.scan == nullptr || inCoding.weights == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    BitWindow bits = ioBits;
    std::int32_t differential = 0;
    PrimitiveStatus status = ReadDcDifferential(bits, *inCoding.dcSizeTable, differential);
    if (status != PrimitiveStatus::Ok) return status;
    const auto predictor = static_cast<std::int16_t>(ioDcPredictor + differential);
    BlockBuilder block(outBlock);
    block.Set(0, std::clamp(predictor * (1 << inCoding.dcShift), kMinimum, kMaximum));
    const AcCoding ac{*inCoding.acTable, inCoding.scan, inCoding.weights,
                      static_cast<std::uint32_t>(inCoding.quantiserScale)};
    status = DecodeRunLevels<Kind::Intra>(bits, *inCoding.acTable, ac, 1, block);
    if (status != PrimitiveStatus::Ok) return status;
    if (bits.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    block.Finish();
    ioBits = bits;
    ioDcPredictor = predictor;
    return PrimitiveStatus::Ok;
}

PrimitiveStatus DecodeNonIntraBlock_Portable(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                             CoefficientBlock& outBlock) {
    if (ioBits.Data() == nullptr || !IsUsable(inCoding.firstTable) || !IsUsable(inCoding.acTable) ||
        inCoding.scan == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    BitWindow bits = ioBits;
    BlockBuilder block(outBlock);
    const std::uint16_t* const weights = inCoding.weights != nullptr ? inCoding.weights : kFlatWeights.data();
    const AcCoding ac{*inCoding.acTable, inCoding.scan, weights,
                      static_cast<std::uint32_t>(inCoding.quantiserScale)};
    const PrimitiveStatus status = DecodeRunLevels<Kind::NonIntra>(bits, *inCoding.firstTable, ac, 0, block);
    if (status != PrimitiveStatus::Ok) return status;
    if (bits.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    block.Finish();
    ioBits = bits;
    return PrimitiveStatus::Ok;
}

}  // namespace Vexmora
