// The macroblock layer (ISO/IEC 13818-2, 6.2.5 and 6.3.17).
#include "mpeg2/MacroblockDecoder.h"

#include <algorithm>

#include "Vexmora/Records.h"
#include "mpeg2/vlc/VlcLists.h"

namespace Vexmora {
namespace {

constexpr unsigned kEscapeBits = 11;
constexpr std::uint32_t kEscapeCode = 0x008;
constexpr std::int64_t kEscapeIncrement = 33;

const VlcTable& TypeTable(const DecodingTableSet& inTables, std::uint32_t inPictureType) {
    if (inPictureType == kPictureTypeB) return inTables.macroblockTypeB;
    return inPictureType == kPictureTypeP ? inTables.macroblockTypeP : inTables.macroblockTypeI;
}

}  // namespace

template <DecodeScale kScale>
MacroblockDecoder<kScale>::MacroblockDecoder(const PictureContext& inPicture, BitReader& ioReader,
                                             const RowRange& inRows, std::uint32_t inQuantiserScaleCode)
    : mPicture(inPicture),
      mPictureType(inPicture.parameters.picture.pictureCodingType),
      mTypeTable(TypeTable(inPicture.tables, mPictureType)),
      mIsFrame(inPicture.IsFrame()),
      mIsFlexibleFrame(mIsFrame && inPicture.parameters.picture.framePredFrameDct == 0),
      mColumns(inPicture.MacroblockColumns()),
      mReader(ioReader),
      mBlocks(inPicture, ioReader),
      mMotionVectors(inPicture, ioReader),
      mMotionCompensation(inPicture),
      mAddress(std::int64_t{inRows.first} * mColumns - 1),
      mEndAddress(std::int64_t{inRows.end} * mColumns),
      mPosition{mColumns, 0} {
    mBlocks.SetQuantiserScaleCode(inQuantiserScaleCode);
}

template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::DecodeMacroblock() {
    const std::int64_t bytesLeft = mReader.BytesLeft();
    if (bytesLeft == 0) return DecodeStatus::Ok;
    if (bytesLeft < 0) return DecodeStatus::InvalidData;

    std::int64_t increment = 0;
    DecodeStatus status = ReadAddressIncrement(increment);
    if (status != DecodeStatus::Ok) return status;
    status = Advance(increment);
    if (status != DecodeStatus::Ok) return status;

    Modes modes;
    Prediction prediction;
    status = ReadModes(modes, prediction);
    if (status != DecodeStatus::Ok) return status;
    return (modes.type & kMacroblockIntra) != 0 ? DecodeIntra(modes) : DecodeNonIntra(modes, prediction);
}

template <DecodeScale kScale>
void MacroblockDecoder<kScale>::PaintError() const {
    if (mKnowsPosition) static_cast<void>(mBlocks.PaintError(mPosition));
}

// Escapes end with the data at the latest, behind which there are only zeros.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReadAddressIncrement(std::int64_t& outIncrement) {
    const bool isPredictedFrame =
        mIsFrame && (mPictureType == kPictureTypeP || mPictureType == kPictureTypeB);
    if (isPredictedFrame && mReader.ShowBits(kEscapeBits) == 0) return DecodeStatus::NoAddressIncrement;
    std::int64_t escapes = 0;
    while (mReader.ShowBits(kEscapeBits) == kEscapeCode) {
        escapes += kEscapeIncrement;
        mReader.SkipBits(kEscapeBits);
    }
    std::int32_t macroblock_address_increment = 0;
    if (!GetCode(mPicture.tables.macroblockAddressIncrement, macroblock_address_increment)) {
        return DecodeStatus::Failed;
    }
    outIncrement = escapes + macroblock_address_increment;
    return DecodeStatus::Ok;
}

// Reconstructs the macroblocks that are passed over and arrives at the one that is coded. Where a slice
// begins, none were skipped.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::Advance(std::int64_t inIncrement) {
    const std::int64_t address = mAddress + inIncrement;
    if (!mIsFirst) {
        for (std::int64_t skipped = mAddress + 1; skipped < std::min(address, mEndAddress); ++skipped) {
            MoveTo(skipped);
            const DecodeStatus status = ReconstructSkipped();
            if (status != DecodeStatus::Ok) return status;
        }
    }
    if (address < 0 || address >= mEndAddress) return DecodeStatus::InvalidData;
    MoveTo(address);
    mIsFirst = false;
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
void MacroblockDecoder<kScale>::MoveTo(std::int64_t inAddress) {
    if (inAddress == mAddress + 1 && mPosition.column + 1 < mColumns) {
        ++mPosition.column;
    } else {
        mPosition = {static_cast<std::int32_t>(inAddress % mColumns),
                     static_cast<std::int32_t>(inAddress / mColumns)};
    }
    mAddress = inAddress;
    mKnowsPosition = true;
}

template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReconstructSkipped() {
    if (mPictureType == kPictureTypeP) {
        mMotionVectors.ResetPredictors();
        return mMotionCompensation.CopySkipped(mPosition);
    }
    if (mPictureType != kPictureTypeB) return DecodeStatus::Ok;
    // Predicted as a whole (7.6.6.3, 7.6.6.4): in the directions of the last prediction, by the vectors that
    // predict the next ones.
    Prediction prediction;
    prediction.directions = mLastDirections;
    for (const Direction direction : {kForward, kBackward}) {
        prediction.vectors[0][direction] = mMotionVectors.Predictor(direction);
        prediction.fromBottomField[0][direction] =
            mPicture.parameters.picture.pictureStructure == kBottomField;
    }
    UnpredictedLines unpredicted;
    return mMotionCompensation.Predict(prediction, mPosition, unpredicted);
}

// What follows macroblock_type has at most 8 bits, so that one look at the window sees everything.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReadModes(Modes& outModes, Prediction& outPrediction) {
    BitWindow& bits = mReader.Bits();
    const VlcEntry code = FindVlcEntry(bits, mTypeTable);
    auto length = static_cast<unsigned>(code.length);
    if (length == 0 || !HoldsBits(bits, length)) return DecodeStatus::Failed;
    const auto read = [&length, window = bits.bits](unsigned inCount) {
        const auto value = static_cast<std::uint32_t>(window << length >> (BitWindow::kWindowBits - inCount));
        length += inCount;
        return value;
    };
    const std::int32_t type = outModes.type = code.value;
    const bool isIntra = (type & kMacroblockIntra) != 0;
    outPrediction.directions = {(type & kMacroblockMotionForward) != 0,
                                (type & kMacroblockMotionBackward) != 0};
    const bool hasMotion = (type & (kMacroblockMotionForward | kMacroblockMotionBackward)) != 0;
    if (hasMotion && (mIsFlexibleFrame || !mIsFrame)) {
        const DecodeStatus status = InterpretMotionType(read(2), outPrediction.type);
        if (status != DecodeStatus::Ok) return status;
    }
    if (mIsFlexibleFrame && (isIntra || (type & kMacroblockPattern) != 0)) outModes.isFieldDct = read(1) != 0;
    if ((type & kMacroblockQuant) != 0) {
        const std::uint32_t quantiser_scale_code = read(5);
        if (quantiser_scale_code == 0 && isIntra && mPictureType != kPictureTypeI) {
            return DecodeStatus::InvalidData;
        }
        mBlocks.SetQuantiserScaleCode(quantiser_scale_code);
    }
    bits.Skip(length);
    return DecodeStatus::Ok;
}

// frame_motion_type or field_motion_type. Dual prime takes a reference in the past alone.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::InterpretMotionType(std::uint32_t inCode, MotionType& outType) const {
    if (inCode == 0 || (inCode == 3 && mPictureType != kPictureTypeP)) return DecodeStatus::InvalidData;
    const std::uint32_t wholeCode = mIsFrame ? 2 : 1;
    outType = inCode == 3           ? MotionType::DualPrime
              : inCode == wholeCode ? MotionType::Whole
                                    : MotionType::Halves;
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::DecodeIntra(const Modes& inModes) {
    if (mAddress - mLastIntraAddress > 1) mBlocks.ResetDcPredictors();
    mLastIntraAddress = mAddress;
    if (mPicture.parameters.picture.concealmentMotionVectors != 0) {
        const DecodeStatus status = mMotionVectors.DecodeConcealment();
        if (status != DecodeStatus::Ok) return status;
    } else {
        mMotionVectors.ResetPredictors();
    }
    return mBlocks.DecodeIntra(mPosition, inModes.isFieldDct);
}

template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::DecodeNonIntra(const Modes& inModes, Prediction& ioPrediction) {
    if (ioPrediction.directions[kForward] || ioPrediction.directions[kBackward]) {
        const DecodeStatus status = mMotionVectors.Decode(ioPrediction);
        if (status != DecodeStatus::Ok) return status;
        mLastDirections = ioPrediction.directions;
    } else {
        // P picture without a vector: the same place in the reference, in a field picture in the same field.
        mMotionVectors.ResetForwardPredictors();
        ioPrediction.directions[kForward] = true;
        ioPrediction.fromBottomField[0][kForward] =
            mPicture.parameters.picture.pictureStructure == kBottomField;
    }
    std::int32_t coded_block_pattern = 0;
    if ((inModes.type & kMacroblockPattern) != 0 &&
        !GetCode(mPicture.tables.codedBlockPattern, coded_block_pattern)) {
        return DecodeStatus::Failed;
    }
    UnpredictedLines unpredicted;
    const DecodeStatus status = mMotionCompensation.Predict(ioPrediction, mPosition, unpredicted);
    if (status != DecodeStatus::Ok) return status;
    return mBlocks.AddResidual(static_cast<std::uint32_t>(coded_block_pattern), mPosition, inModes.isFieldDct,
                               unpredicted);
}

template class MacroblockDecoder<DecodeScale::Full>;
template class MacroblockDecoder<DecodeScale::HalfWidth>;
template class MacroblockDecoder<DecodeScale::Quarter>;

}  // namespace Vexmora
