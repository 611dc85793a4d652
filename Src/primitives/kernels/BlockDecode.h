// Variable-length decoding, inverse scan, inverse quantisation and mismatch control of one block (ISO/IEC
// 13818-2, 7.2 to 7.4). Included by files that are compiled for different processors.
#pragma once

#include <array>
#include <bit>
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

inline void Clear(CoefficientBlock& outBlock) {
    // In registers, since a call and a string instruction are both slow to start.
    using Sixteen [[gnu::vector_size(32), gnu::may_alias]] = std::int16_t;
    for (int i = 0; i < 4; ++i) reinterpret_cast<Sixteen*>(outBlock.values)[i] = Sixteen{};
}

/// What the two kinds of blocks have in common for their run-level codes.
struct AcCoding {
    const RunLevelEntry* firstEntries;  // for the first coefficient of a non-intra block
    const RunLevelEntry* entries;
    const ScaledPositions& positions;
};

enum class Kind { Intra, NonIntra };

/// Inverse quantisation of one level, and its saturation. inWeight is the weight times the quantiser scale.
template <Kind kKind>
std::int32_t Dequantise(std::int32_t inLevel, std::uint32_t inWeight) {
    const std::int32_t sign = inLevel >> 31;  // -1 or 0
    const std::uint32_t doubled = 2 * static_cast<std::uint32_t>((inLevel ^ sign) - sign);
    auto magnitude =
        static_cast<std::int32_t>(((kKind == Kind::Intra ? doubled : doubled + 1) * inWeight) / 32);
    // A branch, since levels that exceed the range are as good as unknown.
    if (__builtin_expect_with_probability(magnitude > kMaximum, 0, 1.0) != 0) magnitude = kMaximum - sign;
    return (magnitude ^ sign) - sign;
}

inline std::uint32_t RunOf(RunLevelEntry inEntry) {
    return inEntry >> 8 & 0xFF;
}

/// The entry of a code that is longer than a first stage.
template <Words kWords>
RunLevelEntry FollowLink(RunLevelEntry inLink, const RunLevelEntry* inEntries,
                         const BitCursor<kWords>& inBits) {
    return inEntries[(inLink >> 16) + inBits.Show(kFirstStageBits, inLink & 0xFF)];
}

/// Decodes run-level codes up to the end of the block, which is clear but for the DC coefficient of an
/// intra one. Tables have two stages at most, of which the first looks at 11 bits, so that two codes fit
/// between two refills, behind a DC coefficient one.
template <Kind kKind, Words kWords>
[[gnu::always_inline]] inline PrimitiveStatus DecodeRunLevels(BitCursor<kWords>& ioBits,
                                                              const AcCoding& inCoding,
                                                              CoefficientBlock& ioBlock) {
    const RunLevelEntry* const entries = inCoding.entries;
    const std::uint32_t* const positions = inCoding.positions.data();
    std::int16_t* const values = ioBlock.values;
    std::uint32_t next = kKind == Kind::Intra ? 1 : 0;  // of the coefficients, in coding order
    auto parity = static_cast<std::uint32_t>(values[0]);
    auto status = PrimitiveStatus::Ok;

    const auto show = [&](const RunLevelEntry* inEntries) __attribute__((always_inline)) {
        return inEntries[ioBits.Bits() >> (64 - kFirstStageBits)];
    };
    // Takes one code; false where the block ends. Bits are valid as before, less 11.
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
            if (RunOf(entry) == kRunLink) {
                entry = FollowLink(entry, entries, ioBits);
                level = static_cast<std::int32_t>(entry) >> 16;
                index = next + RunOf(entry);
            }
            if (index < kCoefficients) [[likely]] {
                ioBits.Skip(entry);
            } else if (RunOf(entry) == kRunEscape) {
                // 6 bits of run, 12 of level. Levels 0 and -2048 are forbidden, but do no harm; other
                // decoders take them, too.
                const std::uint32_t length = entry & 0xFF;
                index = next + ioBits.Show(length, 6);
                level = static_cast<std::int32_t>(ioBits.Show(length + 6, 12) << 20) >> 20;
                ioBits.Skip(length + 6 + 12);
                if (index >= kCoefficients) {
                    status = PrimitiveStatus::TooManyCoefficients;
                    return false;
                }
                if (level == 0) {
                    next = index + 1;
                    return true;
                }
            } else {
                status = RunOf(entry) == kRunNoCode ? PrimitiveStatus::BadCode
                                                    : PrimitiveStatus::TooManyCoefficients;
                return false;
            }
        }
        next = index + 1;
        const std::uint32_t position = positions[index];
        const std::int32_t value = Dequantise<kKind>(level, position >> 8);
        values[position & 0xFF] = static_cast<std::int16_t>(value);
        parity ^= static_cast<std::uint32_t>(value);
        return true;
    };
    RunLevelEntry entry = show(kKind == Kind::Intra ? entries : inCoding.firstEntries);
    if (kKind == Kind::NonIntra && RunOf(entry) == kRunLink)
        entry = FollowLink(entry, inCoding.firstEntries, ioBits);
    while (take(entry)) {
        ioBits.Refill();
        if (!take(show(entries))) break;
        entry = show(entries);
    }
    // Mismatch control: the sum of all coefficients is made odd.
    values[63] = static_cast<std::int16_t>(values[63] ^ static_cast<int>(~parity & 1));
    ioBlock.reach = next - 1;
    return status;
}

/// The differential of a DC coefficient, whose top bit clear means that it is negative. Passes over 21 bits
/// at most.
template <Words kWords>
[[gnu::always_inline]] inline PrimitiveStatus ReadDcDifferential(BitCursor<kWords>& ioBits,
                                                                 const VlcTableView<VlcEntry>& inSizes,
                                                                 std::int32_t& outDifferential) {
    std::uint32_t passed = 0;
    std::uint32_t bits = static_cast<std::uint32_t>(inSizes.firstBits);
    VlcEntry entry = inSizes.entries[ioBits.Show(0, bits)];
    while (entry.length < 0) [[unlikely]] {
            passed += bits;
            bits = static_cast<std::uint32_t>(-entry.length);
            entry = inSizes.entries[static_cast<std::uint32_t>(entry.value) + ioBits.Show(passed, bits)];
        }
    if (entry.length == 0) [[unlikely]]
        return PrimitiveStatus::BadCode;
    const auto length = static_cast<std::uint32_t>(entry.length);
    const auto size = static_cast<std::uint32_t>(entry.value);
    const std::uint64_t rest = ioBits.Bits() << length;
    const auto value = static_cast<std::int32_t>(rest >> 1 >> (63 - size));
    outDifferential = value - (rest >> 63 != 0 ? 0 : (1 << size) - 1);
    ioBits.Pass(length + size);
    return PrimitiveStatus::Ok;
}

template <Words kWords>
[[gnu::always_inline]] inline PrimitiveStatus DecodeIntra(BitCursor<kWords>& ioBits,
                                                          const VlcTableView<VlcEntry>& inSizes,
                                                          const AcCoding& inAc, std::int32_t inDcShift,
                                                          std::int16_t& ioDcPredictor,
                                                          CoefficientBlock& outBlock) {
    std::int32_t differential = 0;
    PrimitiveStatus status = ReadDcDifferential(ioBits, inSizes, differential);
    if (status != PrimitiveStatus::Ok) return status;
    const auto predictor = static_cast<std::int16_t>(ioDcPredictor + differential);
    const std::int32_t dc = predictor * (1 << inDcShift);
    Clear(outBlock);
    outBlock.values[0] = static_cast<std::int16_t>(dc < kMinimum ? kMinimum : dc > kMaximum ? kMaximum : dc);
    status = DecodeRunLevels<Kind::Intra>(ioBits, inAc, outBlock);
    if (status == PrimitiveStatus::Ok) ioDcPredictor = predictor;
    return status;
}

template <Words kWords>
[[gnu::always_inline]] inline PrimitiveStatus DecodeNonIntra(BitCursor<kWords>& ioBits, const AcCoding& inAc,
                                                             CoefficientBlock& outBlock) {
    Clear(outBlock);
    return DecodeRunLevels<Kind::NonIntra>(ioBits, inAc, outBlock);
}

// ---- Macroblocks
// --------------------------------------------------------------------------------------------

/// All blocks in one call, so that the bits stay in registers from block to block and no transform waits for
/// the coefficients that were just stored: 8 % of all time at full size.
inline PrimitiveStatus DecodeIntraBlocks(BitWindow& ioBits, const IntraCoding& inCoding,
                                         std::array<std::int16_t, 3>& ioDcPredictors,
                                         CoefficientBlocks& outBlocks, std::size_t& outDecoded) {
    BitCursor<Words::AllThere> bits(ioBits);
    for (outDecoded = 0; outDecoded < kBlocks; ++outDecoded) {
        const std::size_t component = outDecoded < kLumaBlocks ? 0 : outDecoded - kLumaBlocks + 1;
        const std::size_t plane = component == 0 ? 0 : 1;
        const AcCoding ac{inCoding.acTable.entries, inCoding.acTable.entries, *inCoding.positions[plane]};
        const PrimitiveStatus status = DecodeIntra(bits, inCoding.dcSizeTables[plane], ac, inCoding.dcShift,
                                                   ioDcPredictors[component], outBlocks[outDecoded]);
        if (status != PrimitiveStatus::Ok) return status;
    }
    if (bits.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    bits.Store(ioBits);
    return PrimitiveStatus::Ok;
}

inline PrimitiveStatus DecodeNonIntraBlocks(BitWindow& ioBits, const NonIntraCoding& inCoding,
                                            std::uint32_t inPattern, CoefficientBlocks& outBlocks,
                                            std::uint32_t& outDecoded) {
    BitCursor<Words::AllThere> bits(ioBits);
    outDecoded = 0;
    // From coded block to coded block, since a processor foresees their number better than which ones they
    // are.
    for (std::uint32_t rest = inPattern; rest != 0;) {
        const std::uint32_t bit = std::bit_floor(rest);
        const auto block = static_cast<std::size_t>(std::countl_zero(rest)) - (32 - kBlocks);
        const AcCoding ac{inCoding.firstTable.entries, inCoding.acTable.entries,
                          *inCoding.positions[block < kLumaBlocks ? 0 : 1]};
        const PrimitiveStatus status = DecodeNonIntra(bits, ac, outBlocks[block]);
        if (status != PrimitiveStatus::Ok) return status;
        outDecoded |= bit;
        rest ^= bit;
    }
    if (bits.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    bits.Store(ioBits);
    return PrimitiveStatus::Ok;
}

// ---- Single blocks, whose words may end anywhere
// --------------------------------------------------------------

inline PrimitiveStatus DecodeIntraBlock(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                        std::int16_t& ioDcPredictor, CoefficientBlock& outBlock) {
    if (ioBits.data == nullptr || inCoding.dcSizeTable.entries == nullptr ||
        inCoding.acTable.entries == nullptr || inCoding.scan == nullptr || inCoding.weights == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    if (inCoding.acTable.firstBits != kFirstStageBits) return PrimitiveStatus::BadTable;
    ScaledPositions positions;
    MakeScaledPositions(inCoding.scan, inCoding.weights, inCoding.quantiserScale, positions);
    BitCursor<Words::MayEnd> bits(ioBits);
    std::int16_t predictor = ioDcPredictor;
    const PrimitiveStatus status = DecodeIntra(
        bits, inCoding.dcSizeTable, {inCoding.acTable.entries, inCoding.acTable.entries, positions},
        inCoding.dcShift, predictor, outBlock);
    if (status != PrimitiveStatus::Ok) return status;
    if (bits.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    bits.Store(ioBits);
    ioDcPredictor = predictor;
    return PrimitiveStatus::Ok;
}

inline PrimitiveStatus DecodeNonIntraBlock(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                           CoefficientBlock& outBlock) {
    if (ioBits.data == nullptr || inCoding.firstTable.entries == nullptr ||
        inCoding.acTable.entries == nullptr || inCoding.scan == nullptr) {
        return PrimitiveStatus::NullPointer;
    }
    if (inCoding.firstTable.firstBits != kFirstStageBits || inCoding.acTable.firstBits != kFirstStageBits)
        return PrimitiveStatus::BadTable;
    ScaledPositions positions;
    MakeScaledPositions(inCoding.scan, inCoding.weights, inCoding.quantiserScale, positions);
    BitCursor<Words::MayEnd> bits(ioBits);
    const PrimitiveStatus status =
        DecodeNonIntra(bits, {inCoding.firstTable.entries, inCoding.acTable.entries, positions}, outBlock);
    if (status != PrimitiveStatus::Ok) return status;
    if (bits.IsBehindEnd()) return PrimitiveStatus::OutOfData;
    bits.Store(ioBits);
    return PrimitiveStatus::Ok;
}

}  // namespace
}  // namespace Vexmora
