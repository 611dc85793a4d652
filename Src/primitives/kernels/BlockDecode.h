// Variable-length decoding, inverse scan, inverse quantisation and mismatch control of one block (ISO/IEC
// 13818-2, 7.2 to 7.4). Included by files that are compiled for different processors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "primitives/BitCursor.h"
#include "primitives/BlockDecode.h"
#include "primitives/PrimitiveStatus.h"

namespace Vexmora {
namespace {

constexpr std::int32_t kMaximum = 2047;
constexpr std::int32_t kMinimum = -2048;
constexpr unsigned kCoefficients = 64;

struct FlatWeights {
    std::uint16_t values[kCoefficients];
};
constexpr FlatWeights MakeFlatWeights() {
    FlatWeights flat{};
    for (std::uint16_t& weight : flat.values) weight = 16;
    return flat;
}
constexpr FlatWeights kFlatWeights = MakeFlatWeights();

/// More than a block takes: a DC coefficient, 64 escapes of 24 bits, and what is looked at ahead.
constexpr std::size_t kWordsOfBlock = 58;

/// Collects the coefficients of a block.
class BlockBuilder {
  public:
    explicit BlockBuilder(CoefficientBlock& outBlock) : mBlock(outBlock) {
        // In registers, since a call and a string instruction are both slow to start.
        using Sixteen [[gnu::vector_size(32)]] = std::int16_t;
        for (int i = 0; i < 4; ++i) reinterpret_cast<Sixteen*>(mBlock.values)[i] = Sixteen{};
    }

    void Set(unsigned inPosition, std::int32_t inValue) {
        mBlock.values[inPosition] = static_cast<std::int16_t>(inValue);
        mReach |= inPosition;
        mParity ^= static_cast<std::uint32_t>(inValue);
    }
    /// Mismatch control: makes the sum of all coefficients odd.
    void Finish() {
        mBlock.values[63] = static_cast<std::int16_t>(mBlock.values[63] ^ static_cast<int>(~mParity & 1));
        mBlock.reach = mReach;
    }

  private:
    CoefficientBlock& mBlock;
    std::uint32_t mReach = 0;
    std::uint32_t mParity = 0;
};

/// What the two kinds of blocks have in common for their run-level codes.
struct AcCoding {
    VlcTableView<RunLevelEntry> firstTable;
    VlcTableView<RunLevelEntry> table;
    const std::uint8_t* scan;
    const std::uint16_t* weights;  // in coding order
    std::uint32_t quantiserScale;
};

enum class Kind { Intra, NonIntra };

/// Inverse quantisation of one level, and its saturation. inWeight is the weight times the quantiser scale.
template <Kind kKind>
std::int32_t Dequantise(std::int32_t inLevel, std::uint32_t inWeight) {
    const std::int32_t sign = inLevel >> 31;  // -1 or 0
    const std::uint32_t doubled = 2 * static_cast<std::uint32_t>((inLevel ^ sign) - sign);
    auto magnitude =
        static_cast<std::int32_t>(((kKind == Kind::Intra ? doubled : doubled + 1) * inWeight) / 32);
    if (magnitude > kMaximum) [[unlikely]]
        magnitude = kMaximum - sign;
    return (magnitude ^ sign) - sign;
}

inline std::uint32_t RunOf(RunLevelEntry inEntry) {
    return inEntry >> 8 & 0xFF;
}

/// The entry of a code that is longer than a first stage of inFirstBits.
template <Words kWords>
RunLevelEntry FollowLink(RunLevelEntry inLink, const RunLevelEntry* inEntries, unsigned inFirstBits,
                         const BitCursor<kWords>& inBits) {
    return inEntries[(inLink >> 16) + inBits.Show(inFirstBits, inLink & 0xFF)];
}

template <Words kWords>
RunLevelEntry LookUp(const VlcTableView<RunLevelEntry>& inTable, const BitCursor<kWords>& inBits) {
    const auto first_bits = static_cast<unsigned>(inTable.firstBits);
    const RunLevelEntry entry = inTable.entries[inBits.Show(0, first_bits)];
    return RunOf(entry) == kRunLink ? FollowLink(entry, inTable.entries, first_bits, inBits) : entry;
}

/// Decodes run-level codes up to the end of the block. inNext is the number of the first coefficient that
/// they stand for. Tables have two stages at most, of 16 bits at most.
template <Kind kKind, Words kWords>
PrimitiveStatus DecodeRunLevels(BitCursor<kWords>& ioBits, const AcCoding& inCoding, std::uint32_t inNext,
                                BlockBuilder& ioBlock) {
    const RunLevelEntry* const entries = inCoding.table.entries;
    const unsigned shift = 64 - static_cast<unsigned>(inCoding.table.firstBits);
    std::uint32_t next = inNext;
    auto status = PrimitiveStatus::Ok;

    // Takes one code; false where the block ends. Bits are valid as before, less 16.
    const auto take = [&](RunLevelEntry inEntry) __attribute__((always_inline)) {
        RunLevelEntry entry = inEntry;
        std::int32_t level = static_cast<std::int32_t>(entry) >> 16;
        std::uint32_t index = next + RunOf(entry);
        if (index < kCoefficients) [[likely]] {
            ioBits.Pass(entry);  // whose lowest bits are the length
        } else if (RunOf(entry) == kRunEndOfBlock) {
            ioBits.Skip(entry);
            return false;
        } else {
            ioBits.Refill();
            std::uint32_t length = entry & 0xFF;
            if (RunOf(entry) == kRunLink) {
                entry = FollowLink(entry, entries, 64 - shift, ioBits);
                level = static_cast<std::int32_t>(entry) >> 16;
                index = next + RunOf(entry);
                length = entry & 0xFF;
            }
            // 6 bits of run, 12 of level. Levels 0 and -2048 are forbidden, but do no harm; other decoders
            // take them, too.
            const bool isEscape = RunOf(entry) == kRunEscape;
            if (isEscape) {
                index = next + ioBits.Show(length, 6);
                level = static_cast<std::int32_t>(ioBits.Show(length + 6, 12) << 20) >> 20;
                length += 6 + 12;
            }
            if (RunOf(entry) == kRunNoCode) status = PrimitiveStatus::BadCode;
            ioBits.Skip(length);
            if (RunOf(entry) == kRunEndOfBlock || status != PrimitiveStatus::Ok) return false;
            if (index >= kCoefficients) {
                status = PrimitiveStatus::TooManyCoefficients;
                return false;
            }
            if (isEscape && level == 0) {
                next = index + 1;
                return true;
            }
        }
        next = index + 1;
        ioBlock.Set(inCoding.scan[index],
                    Dequantise<kKind>(level, inCoding.weights[index] * inCoding.quantiserScale));
        return true;
    };
    for (RunLevelEntry entry = LookUp(inCoding.firstTable, ioBits);;) {
        if (!take(entry)) return status;
        entry = entries[ioBits.Bits() >> shift];
        if (!take(entry)) return status;
        ioBits.Refill();
        entry = entries[ioBits.Bits() >> shift];
    }
}

/// The differential of a DC coefficient, whose top bit clear means that it is negative.
template <Words kWords>
PrimitiveStatus ReadDcDifferential(BitCursor<kWords>& ioBits, const VlcTableView<VlcEntry>& inSizes,
                                   std::int32_t& outDifferential) {
    std::uint32_t passed = 0;
    std::uint32_t bits = static_cast<std::uint32_t>(inSizes.firstBits);
    VlcEntry entry = inSizes.entries[ioBits.Show(0, bits)];
    while (entry.length < 0) {
        passed += bits;
        bits = static_cast<std::uint32_t>(-entry.length);
        entry = inSizes.entries[static_cast<std::uint32_t>(entry.value) + ioBits.Show(passed, bits)];
    }
    if (entry.length == 0) return PrimitiveStatus::BadCode;
    const auto length = static_cast<std::uint32_t>(entry.length);
    const auto size = static_cast<std::uint32_t>(entry.value);
    outDifferential = 0;
    if (size != 0) {
        outDifferential = static_cast<std::int32_t>(ioBits.Show(length, size));
        if (outDifferential >> (size - 1) == 0) outDifferential -= (1 << size) - 1;
    }
    ioBits.Skip(length + size);
    return PrimitiveStatus::Ok;
}

template <Words kWords>
PrimitiveStatus DecodeIntra(BitWindowState& ioState, const IntraBlockCoding& inCoding,
                            std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    BitCursor<kWords> bits(ioState);
    std::int32_t differential = 0;
    PrimitiveStatus status = ReadDcDifferential(bits, inCoding.dcSizeTable, differential);
    if (status != PrimitiveStatus::Ok) return status;
    const auto predictor = static_cast<std::int16_t>(ioDcPredictor + differential);
    const std::int32_t dc = predictor * (1 << inCoding.dcShift);
    BlockBuilder block(outBlock);
    block.Set(0, dc < kMinimum ? kMinimum : dc > kMaximum ? kMaximum : dc);
    const AcCoding ac{inCoding.acTable, inCoding.acTable, inCoding.scan, inCoding.weights,
                      static_cast<std::uint32_t>(inCoding.quantiserScale)};
    status = DecodeRunLevels<Kind::Intra>(bits, ac, 1, block);
    if (status != PrimitiveStatus::Ok) return status;
    if (!bits.Store(ioState)) return PrimitiveStatus::OutOfData;
    block.Finish();
    ioDcPredictor = predictor;
    return PrimitiveStatus::Ok;
}

template <Words kWords>
PrimitiveStatus DecodeNonIntra(BitWindowState& ioState, const NonIntraBlockCoding& inCoding,
                               CoefficientBlock& outBlock) {
    BitCursor<kWords> bits(ioState);
    BlockBuilder block(outBlock);
    const AcCoding ac{inCoding.firstTable, inCoding.acTable, inCoding.scan,
                      inCoding.weights != nullptr ? inCoding.weights : kFlatWeights.values,
                      static_cast<std::uint32_t>(inCoding.quantiserScale)};
    const PrimitiveStatus status = DecodeRunLevels<Kind::NonIntra>(bits, ac, 0, block);
    if (status != PrimitiveStatus::Ok) return status;
    if (!bits.Store(ioState)) return PrimitiveStatus::OutOfData;
    block.Finish();
    return PrimitiveStatus::Ok;
}

inline bool HasWordsOfBlock(const BitWindowState& inState) {
    return inState.nextWord + kWordsOfBlock <= inState.wordCount;
}

inline PrimitiveStatus DecodeIntraBlock(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                        std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    if (ioBits.data == nullptr || inCoding.dcSizeTable.entries == nullptr ||
        inCoding.acTable.entries == nullptr || inCoding.scan == nullptr || inCoding.weights == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    return HasWordsOfBlock(ioBits) ? DecodeIntra<Words::AllThere>(ioBits, inCoding, ioDcPredictor, outBlock)
                                   : DecodeIntra<Words::MayEnd>(ioBits, inCoding, ioDcPredictor, outBlock);
}

inline PrimitiveStatus DecodeNonIntraBlock(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                           CoefficientBlock& outBlock) {
    if (ioBits.data == nullptr || inCoding.firstTable.entries == nullptr ||
        inCoding.acTable.entries == nullptr || inCoding.scan == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    return HasWordsOfBlock(ioBits) ? DecodeNonIntra<Words::AllThere>(ioBits, inCoding, outBlock)
                                   : DecodeNonIntra<Words::MayEnd>(ioBits, inCoding, outBlock);
}

}  // namespace
}  // namespace Vexmora
