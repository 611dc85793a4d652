// The dispatch tables: every primitive of a variant as a function pointer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "primitives/BitWindow.h"
#include "primitives/BlockDecode.h"
#include "primitives/Prediction.h"
#include "primitives/PrimitiveStatus.h"
#include "primitives/QuietPackets.h"

namespace Vexmora {

/// An 8 x 8 inverse transform, or a reduced one, into pixels that are clipped to 0..255; step in bytes.
using TransformToPixels = PrimitiveStatus (*)(const CoefficientBlock& inBlock, std::uint8_t* outPixels,
                                              std::ptrdiff_t inStep);
/// The same on top of pixels; the sums are clipped.
using TransformAddToPixels = PrimitiveStatus (*)(const CoefficientBlock& inBlock, std::uint8_t* ioPixels,
                                                 std::ptrdiff_t inStep);
/// The same into a residual, unclipped.
using TransformToResidual = PrimitiveStatus (*)(const CoefficientBlock& inBlock, std::int16_t* outResidual,
                                                std::ptrdiff_t inStepBytes);

/// Forms a prediction, adds the residual and saturates to 0..255. The pixels overlap neither reference.
using Predict = PrimitiveStatus (*)(const ReferenceBlock& inReference, const ResidualBlock& inResidual,
                                    const PixelBlock& outPixels);
/// The same from the average of two predictions, halves rounded up.
using PredictBidirectional = PrimitiveStatus (*)(const ReferenceBlock& inFirst,
                                                 const ReferenceBlock& inSecond,
                                                 const ResidualBlock& inResidual,
                                                 const PixelBlock& outPixels);

/// One implementation of every primitive. All tables give identical results, bit for bit. A null pointer
/// or an empty code table where none is allowed gives NullPointer, a length or size of 0 or less
/// SizeNotPositive; nothing is written then. None keeps state, so all may run on several threads at once.
struct PrimitiveTable {
    /// As FindStartCodePrefix in StartCodeSearch.h.
    std::size_t (*findStartCodePrefix)(const std::uint8_t* inBytes, std::size_t inPositions);
    /// The same for a prefix that no slice start code (01 to AF) follows: to pass over slices in the search
    /// costs a fraction of coming back with each. Reads one byte more.
    std::size_t (*findCodeButSlices)(const std::uint8_t* inBytes, std::size_t inPositions);
    /// Passes over transport packets, inCount of which lie one after the other, up to the first that is not
    /// quiet. Quiet are plain packets of inVideoPid (no error, start of a unit or adaptation field) whose
    /// payload is (see QuietPackets.h), and packets of other PIDs than it and 0 that start no unit.
    QuietPackets (*passQuietPackets)(const std::uint8_t* inPackets, std::size_t inCount,
                                     std::uint32_t inVideoPid);
    /// Reverses the four bytes of each of inWords words from ioBytes on; no alignment is needed.
    void (*swapWords)(std::uint8_t* ioBytes, std::size_t inWords);

    /// Decodes the six blocks of an intra macroblock: DC differentials, run-level codes up to the ends of
    /// blocks, inverse scan and quantisation, saturation, mismatch control (ISO/IEC 13818-2, 7.2 to 7.4).
    /// kZeroBytesBehindWords lie behind the words, and all pointers are there. A failure (BadCode,
    /// TooManyCoefficients, OutOfData) leaves the place as it was and the predictors undefined; outDecoded
    /// blocks were decoded before it.
    PrimitiveStatus (*decodeIntraBlocks)(BitWindow& ioBits, const IntraCoding& inCoding,
                                         std::array<std::int16_t, 3>& ioDcPredictors,
                                         CoefficientBlocks& outBlocks, std::size_t& outDecoded);
    /// The same for the blocks of a non-intra macroblock that inPattern, a coded_block_pattern, names.
    /// Decoded ones have their bits in outDecoded.
    PrimitiveStatus (*decodeNonIntraBlocks)(BitWindow& ioBits, const NonIntraCoding& inCoding,
                                            std::uint32_t inPattern, CoefficientBlocks& outBlocks,
                                            std::uint32_t& outDecoded);
    /// A single block, whose words may end anywhere. Pictures are decoded without it. Any failure leaves
    /// place and predictor as they were and the block undefined.
    PrimitiveStatus (*decodeIntraBlock)(BitWindow& ioBits, const IntraBlockCoding& inCoding,
                                        std::int16_t& ioDcPredictor, CoefficientBlock& outBlock);
    /// The same for a non-intra block, all of whose coefficients are run-level codes.
    PrimitiveStatus (*decodeNonIntraBlock)(BitWindow& ioBits, const NonIntraBlockCoding& inCoding,
                                           CoefficientBlock& outBlock);

    /// The inverse 8 x 8 transform (7.5), with the accuracy of Annex A and better. Coefficients are -2048 to
    /// 2047.
    TransformToPixels inverseDctToPixels;
    TransformAddToPixels inverseDctAddToPixels;
    TransformToResidual inverseDctToResidual;
    /// Its values at columns 0, 2, 4, 6, from coefficient columns 0 to 3: 4 wide, 8 rows.
    TransformToPixels reducedIdctToPixels;
    TransformAddToPixels reducedIdctAddToPixels;
    TransformToResidual reducedIdctToResidual;
    /// The rows 0, 2, 4, 6 of that: 4 x 4.
    TransformToPixels quarterIdctToPixels;
    TransformAddToPixels quarterIdctAddToPixels;
    TransformToResidual quarterIdctToResidual;

    /// Copies an area of bytes to one that does not overlap it.
    PrimitiveStatus (*copyBlock)(const std::uint8_t* inSource, std::ptrdiff_t inSourceStep,
                                 std::uint8_t* outDestination, std::ptrdiff_t inDestinationStep,
                                 std::int32_t inWidth, std::int32_t inHeight);
    PrimitiveStatus (*copyBytes)(const std::uint8_t* inSource, std::uint8_t* outDestination,
                                 std::int64_t inLength);
    PrimitiveStatus (*fillBlock)(std::uint8_t inValue, std::uint8_t* outDestination, std::ptrdiff_t inStep,
                                 std::int32_t inWidth, std::int32_t inHeight);

    /// Indexed by BlockSize.
    std::array<Predict, kBlockSizeCount> predictBlock;
    std::array<PredictBidirectional, kBlockSizeCount> predictBlockBidirectional;
};

/// The plain implementation, which every other one must equal.
const PrimitiveTable& PortablePrimitives();

/// Table inTable, 0 to kTableCount - 1 (see Variant.h). Calling into it takes a processor that has its
/// features.
const PrimitiveTable& PrimitivesAt(int inTable);

/// The table of the selected variant.
const PrimitiveTable& SelectedPrimitives();

}  // namespace Vexmora
