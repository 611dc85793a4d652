// Decoding the macroblocks of one slice, with the skipped ones between them.
#pragma once

#include <array>
#include <cstdint>

#include "mpeg2/BitReader.h"
#include "mpeg2/MacroblockBlocks.h"
#include "mpeg2/MotionCompensation.h"
#include "mpeg2/MotionVectors.h"
#include "mpeg2/PictureContext.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {

/// Macroblock rows; the one at end is not among them.
struct RowRange {
    std::int32_t first;
    std::int32_t end;
};

/// The state of one slice; constructed behind its header. The picture and the reader outlive it.
template <DecodeScale kScale>
class MacroblockDecoder {
  public:
    /// The slice begins in row inRows.first, any value, and no macroblock of it may lie at inRows.end or
    /// beyond; the picture has all rows before it.
    MacroblockDecoder(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                      BitReader& ioReader, const RowRange& inRows, std::uint32_t inQuantiserScaleCode);

    /// Decodes one macroblock and those skipped before it. Ok without reading anything when the data is at
    /// its end.
    DecodeStatus DecodeMacroblock();
    /// Makes the macroblock that could not be decoded red, if its place is known.
    void PaintError() const;

  private:
    // What a macroblock says before its blocks.
    struct Header {
        bool Has(MacroblockFlag inFlag) const { return (type & inFlag) != 0; }

        std::int32_t type = 0;  // MacroblockFlag
        bool isFieldDct = false;
        std::int32_t coded_block_pattern = 0;
        Prediction prediction;
    };

    DecodeStatus ReadHeader(Header& outHeader);
    DecodeStatus ReadAddressIncrement(HeaderBits& ioBits, std::int64_t& outIncrement) const;
    DecodeStatus Advance(std::int64_t inIncrement);
    [[gnu::noinline]] DecodeStatus ReconstructSkipped(std::int64_t inEnd);
    DecodeStatus ReconstructSkipped();
    DecodeStatus ReadModes(HeaderBits& ioBits, Header& outHeader);
    DecodeStatus InterpretMotionType(std::uint32_t inCode, MotionType& outType) const;
    DecodeStatus ReadIntraVectors(HeaderBits& ioBits);
    DecodeStatus ReadVectors(HeaderBits& ioBits, Prediction& ioPrediction);
    void MoveTo(std::int64_t inAddress);
    [[gnu::noinline]] void MoveToFault();

    const PictureContext& mPicture;
    const std::uint32_t mPictureType;
    const VlcTable& mTypeTable;
    const bool mIsFrame;
    const bool mIsFlexibleFrame;  // a frame whose macroblocks may be coded by fields
    const std::int32_t mColumns;
    BitReader& mReader;
    MacroblockBlocks<kScale> mBlocks;
    MotionVectorDecoder mMotionVectors;
    const MotionCompensation<kScale> mMotionCompensation;

    // Macroblocks are numbered row by row.
    std::int64_t mAddress;
    const std::int64_t mEndAddress;
    std::int64_t mLastIntraAddress = -2;
    bool mIsFirst = true;
    MacroblockPosition mPosition;  // of mAddress; unknown until the first macroblock
    bool mKnowsPosition = false;
    std::array<bool, 2> mLastDirections{};  // of prediction, for skipped macroblocks of B pictures
};

}  // namespace Vexmora
