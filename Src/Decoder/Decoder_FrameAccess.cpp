// Decoding one picture: found through the index, or delivered by the host in the buffer.
#include "Contract/Contract.h"
#include "Decoder/Decoder.h"
#include "Decoder/ExportedStatus.h"
#include "Decoder/PictureDriver.h"
#include "Decoder/PictureSearch.h"
#include "Splitter/Splitter_Buffer.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/Headers.h"

namespace Vexmora {

Vexmora_Status Decoder::GetFrame(std::int32_t inFrame, const PictureRequest& inRequest) {
    if (inFrame < 0 || inFrame >= mFrameCount) return Vexmora_NoSuchFrame;
    const auto frame = static_cast<std::uint32_t>(inFrame);
    const FrameRecord& record = mIndex.records[frame];
    if (PictureCodingType(record) == 0) return Vexmora_NoCodedPicture;
    if (record.size == 0) return Vexmora_EmptyRecord;

    if (!mByPosition) {
        const auto cacheId = static_cast<std::uint32_t>(mServices.cacheId);
        mByPosition.emplace(*mSplitter, mParameters, cacheId, mIndex.records);
    }
    const CountedRef<CodedPictureBuffer> buffer = MakeCodedPictureBuffer(mReadBufferSize);
    const std::size_t rank = mByPosition->Order().RankOf(frame, record);
    SequenceParameters parameters;
    const ReadStatus read = mByPosition->Find(rank, *buffer, parameters);
    if (read != ReadStatus::Ok) return ToExported(read);
    const PictureSearch search = FindPicture(*mSplitter, mByPosition->Order(), rank, *buffer);
    if (!search.isFound)
        return search.status == ReadStatus::Ok ? Vexmora_NoSuchFrame : ToExported(search.status);
    const Vexmora_Status status = DecodeInFile(buffer, parameters, inRequest);
    if (search.status == ReadStatus::Ok) mByPosition->Learn(rank, *buffer);
    return status;
}

// The host's planes are those of the first sequence header.
Vexmora_Status Decoder::DecodeInFile(const CountedRef<CodedPictureBuffer>& inBuffer,
                                     const SequenceParameters& inParameters, PictureRequest inRequest) const {
    if (!FitsPlanesOf(mParameters.sequence, inParameters.sequence)) return Vexmora_Unsupported;
    DecodingParameters parameters{inParameters, {}};
    BitReader reader(*inBuffer);
    ReadPictureIdentity(reader, parameters.picture);
    if (inRequest.forward.planes[0] == nullptr) inRequest.forward = inRequest.output;
    return ToExported(DecodePicture(inBuffer, parameters, reader, inRequest));
}

Vexmora_Status Decoder::GetFrameFromBuffer(std::uint32_t inDataSize, std::uint32_t inPictureType,
                                           const PictureRequest& inRequest) {
    Check(mSplitter->IsPureVideo(), contracts::kIsPureVideo);
    auto* const splitter = dynamic_cast<BufferSplitter*>(mSplitter.get());
    if (splitter == nullptr) return Vexmora_Unsupported;
    splitter->SetBufferSize(inDataSize);
    mBuffer->ClearCarry();  // the host has overwritten what the last request left
    const bool hasPicture = TakeHeadersFromBuffer();
    mSequenceHeaderRead = true;  // not before: a request that ran out of memory has read nothing
    if (mPlanes == SequenceHeader{}) mPlanes = mParameters.sequence;
    if (!hasPicture || mParameters.sequence.chromaBlocks != kChromaBlocks420 ||
        !FitsPlanesOf(mPlanes, mParameters.sequence)) {
        return Vexmora_NoSuchFrame;
    }

    if (mSplitter->ReadPicture(*mBuffer) != ReadStatus::Ok) return Vexmora_NoSuchFrame;
    DecodingParameters parameters{mParameters, {}};
    BitReader reader(*mBuffer);
    ReadPictureIdentity(reader, parameters.picture);
    if (parameters.picture.pictureCodingType != inPictureType) return Vexmora_NoSuchFrame;
    const DecodeStatus status = DecodePicture(mBuffer, parameters, reader, inRequest);
    mParameters.matrices = parameters.matrices;
    if (const PictureHeader& picture = parameters.picture; picture.pictureStructure != 0) {
        const bool isFirstField = picture.pictureStructure != kFramePicture && !parameters.secondField;
        mFirstField = isFirstField ? std::optional(picture) : std::nullopt;
    }
    BitReader behind(*mBuffer);
    TakeSequenceHeaders(behind);
    return status == DecodeStatus::Ok ? Vexmora_Ok : Vexmora_NoSuchFrame;
}

// Takes what the host has written up to the picture start code. False if there is nothing behind one.
bool Decoder::TakeHeadersFromBuffer() {
    do {
        if (mSplitter->ReadPicture(*mBuffer) != ReadStatus::Ok) return false;
        BitReader reader(*mBuffer);
        TakeSequenceHeaders(reader);
    } while (!EndsAtPicture(*mBuffer) && mBuffer->CarrySize() != 0);
    return mBuffer->CarrySize() != 0;
}

// A host may repeat the header with every field.
void Decoder::TakeSequenceHeaders(BitReader& ioReader) {
    const auto last = LastSequenceHeader(ioReader);
    if (!last) return;
    if (last->sequence != mParameters.sequence) mFirstField.reset();
    mParameters = *last;
}

// Whether the picture is the other field of the frame that was begun. Where a field was damaged or left out,
// the next frame must not be taken for the rest of this one.
bool Decoder::CompletesFrame(const PictureHeader& inPicture) const {
    return mFirstField && inPicture.pictureStructure != kFramePicture &&
           inPicture.pictureStructure != mFirstField->pictureStructure &&
           inPicture.temporalReference == mFirstField->temporalReference;
}

// ioReader stands behind picture_coding_type, which is in the parameters; afterwards they have what the
// picture itself says.
DecodeStatus Decoder::DecodePicture(const CountedRef<CodedPictureBuffer>& inBuffer,
                                    DecodingParameters& ioParameters, BitReader& ioReader,
                                    const PictureRequest& inRequest) const {
    const PictureContext picture{
        .parameters = ioParameters,
        .tables = *mTables,
        .primitives = SelectedPrimitives(),
        .scale = inRequest.scale,
        .forward = YV12Frame(ioParameters.sequence, inRequest.forward),
        .backward = YV12Frame(ioParameters.sequence, inRequest.backward),
        .output = YV12Frame(ioParameters.sequence, inRequest.output),
    };
    if (!picture.output.HasPlanes()) return DecodeStatus::NoOutput;
    if (ParsePictureHeader(ioReader, ioParameters) != DecodeStatus::Ok) return DecodeStatus::InvalidData;
    ioParameters.matrices.Load(ioParameters.loads);
    ioParameters.secondField = CompletesFrame(ioParameters.picture);
    if (picture.IsFrame()) return DecodeFramePicture(picture, inBuffer, ioReader);
    return DecodeFieldPicture(picture, inBuffer, ioReader);
}

}  // namespace Vexmora
