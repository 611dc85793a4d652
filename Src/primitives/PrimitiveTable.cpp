// Fills the dispatch tables: each variant starts from a lower one and replaces what it makes faster.
#include "primitives/PrimitiveTable.h"

#include "primitives/Variant.h"
#include "primitives/avx/Avx.h"
#include "primitives/avx2/Avx2.h"
#include "primitives/portable/Portable.h"
#include "primitives/sse2/Sse2.h"

namespace Vexmora {
namespace {

#define VEXMORA_SIZE(inFunction, inWidth, inHeight) inFunction<inWidth, inHeight>,

constexpr PrimitiveTable kPortable{
    .findStartCodePrefix = FindStartCodePrefix_Portable,
    .findCodeButSlices = FindCodeButSlices_Portable,
    .passQuietPackets = PassQuietPackets_Portable,
    .swapWords = SwapWords_Portable,
    .decodeIntraBlocks = DecodeIntraBlocks_Portable,
    .decodeNonIntraBlocks = DecodeNonIntraBlocks_Portable,
    .decodeIntraBlock = DecodeIntraBlock_Portable,
    .decodeNonIntraBlock = DecodeNonIntraBlock_Portable,
    .inverseDctToPixels = InverseDctToPixels_Portable,
    .inverseDctAddToPixels = InverseDctAddToPixels_Portable,
    .inverseDctToResidual = InverseDctToResidual_Portable,
    .reducedIdctToPixels = ReducedIdctToPixels_Portable,
    .reducedIdctAddToPixels = ReducedIdctAddToPixels_Portable,
    .reducedIdctToResidual = ReducedIdctToResidual_Portable,
    .quarterIdctToPixels = QuarterIdctToPixels_Portable,
    .quarterIdctAddToPixels = QuarterIdctAddToPixels_Portable,
    .quarterIdctToResidual = QuarterIdctToResidual_Portable,
    .copyBlock = CopyBlock_Portable,
    .copyBytes = CopyBytes_Portable,
    .fillBlock = FillBlock_Portable,
    .predictBlock = {VEXMORA_FOR_BLOCK_SIZES(VEXMORA_SIZE, PredictBlock_Portable)},
    .predictBlockBidirectional = {VEXMORA_FOR_BLOCK_SIZES(VEXMORA_SIZE, PredictBlockBidirectional_Portable)},
};

#if defined(__x86_64__)

constexpr PrimitiveTable MakeSse2() {
    PrimitiveTable table = kPortable;
    table.findStartCodePrefix = FindStartCodePrefix_Sse2;
    table.findCodeButSlices = FindCodeButSlices_Sse2;
    table.passQuietPackets = PassQuietPackets_Sse2;
    table.inverseDctToPixels = InverseDctToPixels_Sse2;
    table.inverseDctAddToPixels = InverseDctAddToPixels_Sse2;
    table.inverseDctToResidual = InverseDctToResidual_Sse2;
    table.reducedIdctToPixels = ReducedIdctToPixels_Sse2;
    table.reducedIdctAddToPixels = ReducedIdctAddToPixels_Sse2;
    table.reducedIdctToResidual = ReducedIdctToResidual_Sse2;
    table.quarterIdctToPixels = QuarterIdctToPixels_Sse2;
    table.quarterIdctAddToPixels = QuarterIdctAddToPixels_Sse2;
    table.quarterIdctToResidual = QuarterIdctToResidual_Sse2;
    table.predictBlock = {VEXMORA_FOR_BLOCK_SIZES(VEXMORA_SIZE, PredictBlock_Sse2)};
    table.predictBlockBidirectional = {VEXMORA_FOR_BLOCK_SIZES(VEXMORA_SIZE, PredictBlockBidirectional_Sse2)};
    return table;
}

constexpr PrimitiveTable MakeAvx() {
    PrimitiveTable table = MakeSse2();
    table.inverseDctToPixels = InverseDctToPixels_Avx;
    table.inverseDctAddToPixels = InverseDctAddToPixels_Avx;
    table.inverseDctToResidual = InverseDctToResidual_Avx;
    table.predictBlock = {VEXMORA_FOR_BLOCK_SIZES(VEXMORA_SIZE, PredictBlock_Avx)};
    table.predictBlockBidirectional = {VEXMORA_FOR_BLOCK_SIZES(VEXMORA_SIZE, PredictBlockBidirectional_Avx)};
    return table;
}

constexpr PrimitiveTable MakeAvx2() {
    PrimitiveTable table = MakeAvx();
    table.findStartCodePrefix = FindStartCodePrefix_Avx2;
    table.findCodeButSlices = FindCodeButSlices_Avx2;
    table.passQuietPackets = PassQuietPackets_Avx2;
    table.swapWords = SwapWords_Avx2;
    table.decodeIntraBlocks = DecodeIntraBlocks_Avx2;
    table.decodeNonIntraBlocks = DecodeNonIntraBlocks_Avx2;
    table.inverseDctToPixels = InverseDctToPixels_Avx2;
    table.inverseDctAddToPixels = InverseDctAddToPixels_Avx2;
    table.inverseDctToResidual = InverseDctToResidual_Avx2;
    return table;
}

constexpr PrimitiveTable kSse2 = MakeSse2();

// Table 3 also serves processors of table 4 and 5 when its code is asked for, and those may lack MOVBE:
// nothing in it may use that instruction.
constexpr std::array<PrimitiveTable, kTableCount> kTables{kSse2, kSse2,     kSse2,     kSse2,
                                                          kSse2, MakeAvx(), MakeAvx2()};

#else

constexpr std::array<PrimitiveTable, kTableCount> kTables{kPortable, kPortable, kPortable, kPortable,
                                                          kPortable, kPortable, kPortable};

#endif

}  // namespace

const PrimitiveTable& PortablePrimitives() {
    return kPortable;
}

const PrimitiveTable& PrimitivesAt(int inTable) {
    return kTables[static_cast<std::size_t>(inTable)];
}

const PrimitiveTable& SelectedPrimitives() {
    return PrimitivesAt(SelectedTable());
}

}  // namespace Vexmora
