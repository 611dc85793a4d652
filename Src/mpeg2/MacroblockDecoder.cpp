// The macroblock layer (ISO/IEC 13818-2, 6.2.5 and 6.3.17).
#include "mpeg2/MacroblockDecoder.h"

#include <algorithm>

#include "Vexmora/Records.h"

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
MacroblockDecoder<kScale>::MacroblockDecoder(const PictureContext& inPicture,
                                             const QuantisationTables& inQuantisation, BitReader& ioReader,
                                             const RowRange& inRows, std::uint32_t inQuantiserScaleCode)
    : mPicture(inPicture),
      mPictureType(inPicture.parameters.picture.pictureCodingType),
      mTypeTable(TypeTable(inPicture.tables, mPictureType)),
      mIsFrame(inPicture.IsFrame()),
      mIsFlexibleFrame(mIsFrame && inPicture.parameters.picture.framePredFrameDct == 0),
      mColumns(inPicture.MacroblockColumns()),
      mReader(ioReader),
      mBlocks(inPicture, inQuantisation, ioReader),
      mMotionVectors(inPicture),
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
    if (bytesLeft < 0) {
        MoveToFault();
        return DecodeStatus::InvalidData;
    }

    Header header;
    DecodeStatus status = ReadHeader(header);
    if (status != DecodeStatus::Ok) return status;

    if (header.Has(kMacroblockIntra)) return mBlocks.DecodeIntra(mPosition, header.isFieldDct);
    UnpredictedLines unpredicted;
    status = mMotionCompensation.Predict(header.prediction, mPosition, unpredicted);
    if (status != DecodeStatus::Ok) return status;
    return mBlocks.AddResidual(static_cast<std::uint32_t>(header.coded_block_pattern), mPosition,
                               header.isFieldDct, unpredicted);
}

// All that it calls is put in its place, so that the bits stay in registers.
template <DecodeScale kScale>
[[gnu::flatten]] DecodeStatus MacroblockDecoder<kScale>::ReadHeader(Header& outHeader) {
    HeaderBits bits(mReader.Bits());
    std::int64_t increment = 0;
    DecodeStatus status = ReadAddressIncrement(bits, increment);
    if (status != DecodeStatus::Ok) {
        MoveToFault();
        return status;
    }
    status = Advance(increment);
    if (status != DecodeStatus::Ok) return status;
    status = ReadModes(bits, outHeader);
    if (status != DecodeStatus::Ok) return status;
    if (outHeader.Has(kMacroblockIntra)) {
        status = ReadIntraVectors(bits);
    } else {
        status = ReadVectors(bits, outHeader.prediction);
        if (status == DecodeStatus::Ok && outHeader.Has(kMacroblockPattern)) {
            const VlcEntry code = bits.Find(mPicture.tables.codedBlockPattern);
            bits.Skip(static_cast<std::uint32_t>(code.length));
            outHeader.coded_block_pattern = code.value;
            if (code.length == 0) return DecodeStatus::Failed;
        }
    }
    if (status != DecodeStatus::Ok) return status;
    if (bits.IsBehindEnd()) return DecodeStatus::Failed;
    bits.Store(mReader.Bits());
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
void MacroblockDecoder<kScale>::PaintError() const {
    if (mKnowsPosition) static_cast<void>(mBlocks.PaintError(mPosition));
}

// Escapes end with the data at the latest, behind which there are only zeros.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReadAddressIncrement(HeaderBits& ioBits,
                                                             std::int64_t& outIncrement) const {
    if (ioBits.Show(0, 1) != 0) {
        ioBits.Skip(1);
        outIncrement = 1;
        return DecodeStatus::Ok;
    }
    const bool isPredictedFrame =
        mIsFrame && (mPictureType == kPictureTypeP || mPictureType == kPictureTypeB);
    if (isPredictedFrame && ioBits.Show(0, kEscapeBits) == 0) return DecodeStatus::NoAddressIncrement;
    std::int64_t escapes = 0;
    while (ioBits.Show(0, kEscapeBits) == kEscapeCode) {
        escapes += kEscapeIncrement;
        ioBits.Skip(kEscapeBits);
    }
    const VlcEntry code = ioBits.Find(mPicture.tables.macroblockAddressIncrement);
    ioBits.Skip(static_cast<std::uint32_t>(code.length));
    if (code.length == 0 || ioBits.IsBehindEnd()) return DecodeStatus::Failed;
    outIncrement = escapes + code.value;
    return DecodeStatus::Ok;
}

// Arrives at the macroblock that is coded. Where a slice begins, none were skipped.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::Advance(std::int64_t inIncrement) {
    const std::int64_t address = mAddress + inIncrement;
    if (address < 0 || address >= mEndAddress) {
        MoveToFault();
        return DecodeStatus::InvalidData;
    }
    if (inIncrement != 1 && !mIsFirst) {
        const DecodeStatus status = ReconstructSkipped(address);
        if (status != DecodeStatus::Ok) return status;
    }
    MoveTo(address);
    mIsFirst = false;
    return DecodeStatus::Ok;
}

// Reconstructs the macroblocks that are passed over, up to the one at inEnd.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReconstructSkipped(std::int64_t inEnd) {
    for (std::int64_t skipped = mAddress + 1; skipped < inEnd; ++skipped) {
        MoveTo(skipped);
        const DecodeStatus status = ReconstructSkipped();
        if (status != DecodeStatus::Ok) return status;
    }
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

// A macroblock whose address cannot be told stands for the one behind the last. Where the slice may not reach
// that one, the last one shows the damage.
template <DecodeScale kScale>
void MacroblockDecoder<kScale>::MoveToFault() {
    if (mKnowsPosition) MoveTo(std::min(mAddress + 1, mEndAddress - 1));
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

// All of it has at most 14 bits, so that one look at them suffices.
template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReadModes(HeaderBits& ioBits, Header& outHeader) {
    const VlcEntry code = ioBits.Find(mTypeTable);
    if (code.length == 0) return DecodeStatus::Failed;
    auto length = static_cast<unsigned>(code.length);
    const auto read = [&length, &ioBits](unsigned inCount) {
        const std::uint32_t value = ioBits.Show(length, inCount);
        length += inCount;
        return value;
    };
    outHeader.type = code.value;
    Prediction& prediction = outHeader.prediction;
    prediction.directions = {outHeader.Has(kMacroblockMotionForward),
                             outHeader.Has(kMacroblockMotionBackward)};
    const bool hasMotion = prediction.directions[kForward] || prediction.directions[kBackward];
    if (hasMotion && (mIsFlexibleFrame || !mIsFrame)) {
        const DecodeStatus status = InterpretMotionType(read(2), prediction.type);
        if (status != DecodeStatus::Ok) return status;
    }
    const bool isIntra = outHeader.Has(kMacroblockIntra);
    if (mIsFlexibleFrame && (isIntra || outHeader.Has(kMacroblockPattern)))
        outHeader.isFieldDct = read(1) != 0;
    if (outHeader.Has(kMacroblockQuant)) {
        const std::uint32_t quantiser_scale_code = read(5);
        if (quantiser_scale_code == 0 && isIntra && mPictureType != kPictureTypeI) {
            return DecodeStatus::InvalidData;
        }
        mBlocks.SetQuantiserScaleCode(quantiser_scale_code);
    }
    ioBits.Skip(length);
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
DecodeStatus MacroblockDecoder<kScale>::ReadIntraVectors(HeaderBits& ioBits) {
    if (mAddress - mLastIntraAddress > 1) mBlocks.ResetDcPredictors();
    mLastIntraAddress = mAddress;
    if (mPicture.parameters.picture.concealmentMotionVectors != 0) {
        return mMotionVectors.DecodeConcealment(ioBits);
    }
    mMotionVectors.ResetPredictors();
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus MacroblockDecoder<kScale>::ReadVectors(HeaderBits& ioBits, Prediction& ioPrediction) {
    if (ioPrediction.directions[kForward] || ioPrediction.directions[kBackward]) {
        const DecodeStatus status = mMotionVectors.Decode(ioBits, ioPrediction);
        mLastDirections = ioPrediction.directions;
        return status;
    }
    // P picture without a vector: the same place in the reference, in a field picture in the same field.
    mMotionVectors.ResetForwardPredictors();
    ioPrediction.directions[kForward] = true;
    ioPrediction.fromBottomField[0][kForward] = mPicture.parameters.picture.pictureStructure == kBottomField;
    return DecodeStatus::Ok;
}

template class MacroblockDecoder<DecodeScale::Full>;
template class MacroblockDecoder<DecodeScale::HalfWidth>;
template class MacroblockDecoder<DecodeScale::Quarter>;

}  // namespace Vexmora
