// Variable-length decoding, inverse scan, inverse quantisation and mismatch control of one block (ISO/IEC
// 13818-2, 7.2 to 7.4).
#include "primitives/BlockDecode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "primitives/BitPosition.h"
#include "primitives/portable/Portable.h"

namespace Vexmora {
namespace {

constexpr std::size_t kWordBits = 32;
constexpr std::size_t kWindowBits = 64;

/// The next bits of coded data in one register, 32 to 63 of them between calls; zeros behind the data.
class BitWindow {
  public:
    explicit BitWindow(const BitPosition& inPosition)
        : mData(inPosition.data),
          mWordCount(inPosition.wordCount),
          mNextWord(inPosition.nextBit / kWordBits) {
        Refill();
        Skip(inPosition.nextBit % kWordBits);
    }

    /// The next bits from the top of the word down.
    std::uint64_t Bits() const { return mWindow; }
    std::uint32_t Show(unsigned inCount) const {
        return static_cast<std::uint32_t>(mWindow >> (kWindowBits - inCount));
    }
    /// Passes over inCount bits, 0 to 32.
    void Skip(std::size_t inCount) {
        mWindow <<= inCount;
        mValidBits -= inCount;
        Refill();
    }
    /// Gives the place reached back, or OutOfData if it lies behind the data.
    PrimitiveStatus Store(BitPosition& ioPosition) const {
        const std::size_t next = mNextWord * kWordBits - mValidBits;
        if (next > mWordCount * kWordBits) return PrimitiveStatus::OutOfData;
        ioPosition.nextBit = next;
        return PrimitiveStatus::Ok;
    }

  private:
    /// Puts the next word's bits in place and counts the word once it fits as a whole: no branch hangs on the
    /// lengths of codes. A word put in place without being counted is put there again, unchanged.
    void Refill() {
        std::uint32_t word = 0;
        if (mNextWord < mWordCount) [[likely]] {
            std::memcpy(&word, mData + mNextWord * sizeof word, sizeof word);
        }
        mWindow |= (std::uint64_t{word} << kWordBits) >> mValidBits;
        const std::size_t fits = mValidBits < kWordBits ? 1 : 0;
        mNextWord += fits;
        mValidBits += fits * kWordBits;
    }

    const std::uint8_t* mData;
    std::size_t mWordCount;
    std::size_t mNextWord;
    std::uint64_t mWindow = 0;
    std::size_t mValidBits = 0;
};

VlcEntry LookUp(const VlcTable& inTable, std::uint64_t inBits) {
    std::int32_t bits = inTable.firstBits;
    VlcEntry entry = inTable.entries[inBits >> (kWindowBits - static_cast<unsigned>(bits))];
    while (entry.length < 0) {
        inBits <<= bits;
        bits = -entry.length;
        entry = inTable.entries[static_cast<std::size_t>(entry.value) +
                                (inBits >> (kWindowBits - static_cast<unsigned>(bits)))];
    }
    return entry;
}

RunLevelEntry LookUp(const RunLevelTable& inTable, std::uint64_t inBits) {
    std::int32_t bits = inTable.firstBits;
    RunLevelEntry entry = inTable.entries[inBits >> (kWindowBits - static_cast<unsigned>(bits))];
    while (entry.length < 0) {
        inBits <<= bits;
        bits = entry.run;
        entry = inTable.entries[static_cast<std::size_t>(entry.level) +
                                (inBits >> (kWindowBits - static_cast<unsigned>(bits)))];
    }
    return entry;
}

template <typename Table>
bool IsUsable(const Table* inTable) {
    return inTable != nullptr && !inTable->entries.empty();
}

constexpr std::int32_t kMaximum = 2047;
constexpr std::int32_t kMinimum = -2048;

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
        if ((mParity & 1) == 0) mBlock.values[63] = static_cast<std::int16_t>(mBlock.values[63] ^ 1);
        mBlock.reach = mReach;
    }

  private:
    CoefficientBlock& mBlock;
    std::uint32_t mReach = 0;
    std::int32_t mParity = 0;
};

/// What the two kinds of blocks have in common for their run-level codes.
struct AcCoding {
    const RunLevelTable& firstTable;
    const RunLevelTable& table;
    const std::uint8_t* scan;
    const std::uint16_t* weights;
    std::uint32_t quantiserScale;
};

enum class Kind { Intra, NonIntra };

/// Inverse quantisation of one level, and its saturation. inWeight is the weight times the quantiser scale.
template <Kind kKind>
std::int32_t Dequantise(std::int32_t inLevel, std::uint32_t inWeight) {
    const std::uint32_t doubled = 2 * static_cast<std::uint32_t>(std::abs(inLevel));
    const std::uint32_t magnitude = ((kKind == Kind::Intra ? doubled : doubled + 1) * inWeight) / 32;
    return inLevel < 0 ? -static_cast<std::int32_t>(std::min<std::uint32_t>(magnitude, -kMinimum))
                       : static_cast<std::int32_t>(std::min<std::uint32_t>(magnitude, kMaximum));
}

/// The fixed-length part of an escaped coefficient: 6 bits of run, 12 of level. Levels 0 and -2048 are
/// forbidden.
PrimitiveStatus ReadEscape(BitWindow& ioBits, std::int32_t& outRun, std::int32_t& outLevel) {
    const std::uint32_t bits = ioBits.Show(18);
    ioBits.Skip(18);
    outRun = static_cast<std::int32_t>(bits >> 12);
    outLevel = static_cast<std::int32_t>(bits << 20) >> 20;
    return outLevel == 0 || outLevel == kMinimum ? PrimitiveStatus::BadCode : PrimitiveStatus::Ok;
}

/// Decodes run-level codes up to the end of the block. inIndex is the last coefficient decoded before.
template <Kind kKind>
PrimitiveStatus DecodeRunLevels(BitWindow& ioBits, const AcCoding& inCoding, std::int32_t inIndex,
                                BlockBuilder& ioBlock) {
    constexpr std::int32_t kLast = 63;
    const RunLevelTable* table = &inCoding.firstTable;
    for (std::int32_t index = inIndex;;) {
        const RunLevelEntry entry = LookUp(*table, ioBits.Bits());
        table = &inCoding.table;
        ioBits.Skip(static_cast<std::size_t>(entry.length));
        std::int32_t level = entry.level;
        std::int32_t run = entry.run;
        if (index + run >= kLast) [[unlikely]] {
            if (run == kRunEndOfBlock) return PrimitiveStatus::Ok;
            if (run == kRunNoCode) return PrimitiveStatus::BadCode;
            if (run == kRunEscape) {
                const PrimitiveStatus status = ReadEscape(ioBits, run, level);
                if (status != PrimitiveStatus::Ok) return status;
            }
            if (index + run >= kLast) return PrimitiveStatus::TooManyCoefficients;
        }
        index += run + 1;
        const unsigned position = inCoding.scan[index];
        const std::uint32_t weight = kKind == Kind::NonIntra && inCoding.weights == nullptr
                                         ? 16U
                                         : std::uint32_t{inCoding.weights[position]};
        ioBlock.Set(position, Dequantise<kKind>(level, weight * inCoding.quantiserScale));
    }
}

/// The differential of a DC coefficient, whose top bit clear means that it is negative.
PrimitiveStatus ReadDcDifferential(BitWindow& ioBits, const VlcTable& inSizeTable,
                                   std::int32_t& outDifferential) {
    const VlcEntry entry = LookUp(inSizeTable, ioBits.Bits());
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    ioBits.Skip(static_cast<std::size_t>(entry.length));
    outDifferential = 0;
    if (entry.value == 0) return PrimitiveStatus::Ok;
    const unsigned size = static_cast<unsigned>(entry.value);
    outDifferential = static_cast<std::int32_t>(ioBits.Show(size));
    if (outDifferential >> (size - 1) == 0) outDifferential -= (1 << size) - 1;
    ioBits.Skip(size);
    return PrimitiveStatus::Ok;
}

}  // namespace

PrimitiveStatus DecodeVlcSymbol_Portable(BitPosition& ioPosition, const VlcTable& inTable,
                                         std::int32_t& outValue) {
    if (ioPosition.data == nullptr || !IsUsable(&inTable)) return PrimitiveStatus::NullPointer;
    BitWindow bits(ioPosition);
    const VlcEntry entry = LookUp(inTable, bits.Bits());
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    bits.Skip(static_cast<std::size_t>(entry.length));
    const PrimitiveStatus status = bits.Store(ioPosition);
    if (status == PrimitiveStatus::Ok) outValue = entry.value;
    return status;
}

PrimitiveStatus DecodeIntraBlock_Portable(BitPosition& ioPosition, const IntraBlockCoding& inCoding,
                                          std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    if (ioPosition.data == nullptr || !IsUsable(inCoding.dcSizeTable) || !IsUsable(inCoding.acTable) ||
        inCoding.scan == nullptr || inCoding.weights == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    BitWindow bits(ioPosition);
    std::int32_t differential = 0;
    PrimitiveStatus status = ReadDcDifferential(bits, *inCoding.dcSizeTable, differential);
    if (status != PrimitiveStatus::Ok) return status;
    const auto predictor = static_cast<std::int16_t>(ioDcPredictor + differential);
    BlockBuilder block(outBlock);
    block.Set(0, std::clamp(predictor * (1 << inCoding.dcShift), kMinimum, kMaximum));
    const AcCoding ac{*inCoding.acTable, *inCoding.acTable, inCoding.scan, inCoding.weights,
                      static_cast<std::uint32_t>(inCoding.quantiserScale)};
    status = DecodeRunLevels<Kind::Intra>(bits, ac, 0, block);
    if (status != PrimitiveStatus::Ok) return status;
    status = bits.Store(ioPosition);
    if (status != PrimitiveStatus::Ok) return status;
    block.Finish();
    ioDcPredictor = predictor;
    return PrimitiveStatus::Ok;
}

PrimitiveStatus DecodeNonIntraBlock_Portable(BitPosition& ioPosition, const NonIntraBlockCoding& inCoding,
                                             CoefficientBlock& outBlock) {
    if (ioPosition.data == nullptr || !IsUsable(inCoding.firstTable) || !IsUsable(inCoding.acTable) ||
        inCoding.scan == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    BitWindow bits(ioPosition);
    BlockBuilder block(outBlock);
    const AcCoding ac{*inCoding.firstTable, *inCoding.acTable, inCoding.scan, inCoding.weights,
                      static_cast<std::uint32_t>(inCoding.quantiserScale)};
    PrimitiveStatus status = DecodeRunLevels<Kind::NonIntra>(bits, ac, -1, block);
    if (status != PrimitiveStatus::Ok) return status;
    status = bits.Store(ioPosition);
    if (status == PrimitiveStatus::Ok) block.Finish();
    return status;
}

}  // namespace Vexmora
