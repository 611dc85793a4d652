// Decoding one picture: found through the index, or delivered by the host in the buffer.
#include "Contract/Contract.h"
#include "Decoder/Decoder.h"
#include "Decoder/PictureDriver.h"
#include "Splitter/Splitter_Buffer.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/Headers.h"

namespace Vexmora {
namespace {

// The picture is sought in this many, from its record's offset on.
constexpr int kMostDeliveries = 16;

// What the host is told of a reading or decoding status. A picture that was decoded in part is shown.
Vexmora_Status FrameStatus(std::int32_t inStatus) {
    switch (inStatus) {
        case static_cast<std::int32_t>(DecodeStatus::Ok):
        case static_cast<std::int32_t>(DecodeStatus::Failed):
        case static_cast<std::int32_t>(DecodeStatus::InvalidData):
            return Vexmora_Ok;
        case static_cast<std::int32_t>(ReadStatus::UnsupportedFormat):
            return Vexmora_Unsupported;
        case static_cast<std::int32_t>(ReadStatus::LostSync):
            return Vexmora_NoSuchFrame;
        default:
            return Vexmora_NoSequenceHeader;
    }
}

// Whether a delivery is to be decoded: it is complete, or the last one of the data.
bool HasPicture(ReadStatus inStatus, const CodedPictureBuffer& inBuffer) {
    return inStatus == ReadStatus::Ok || (inStatus == ReadStatus::EndOfData && inBuffer.Size() != 0);
}

// Reads up to where ParsePictureHeader goes on.
void ReadPictureIdentity(BitReader& ioReader, PictureHeader& outPicture) {
    outPicture.temporalReference = ioReader.GetBits(10);
    outPicture.pictureCodingType = ioReader.GetBits(3);
}

// Whether the picture is the other field of the frame that was begun. Where a field was damaged or left out,
// the next frame must not be taken for the rest of this one.
bool CompletesFrame(const DecodingParameters& inParameters) {
    const PictureHeader& first = inParameters.firstField;
    const PictureHeader& picture = inParameters.picture;
    return picture.pictureStructure != kFramePicture && picture.pictureStructure != first.pictureStructure &&
           picture.temporalReference == first.temporalReference;
}

}  // namespace

Vexmora_Status Decoder::GetFrame(std::int32_t inFrame, const PictureRequest& inRequest) {
    if (inFrame < 0 || inFrame >= mFrameCount) return Vexmora_NoSuchFrame;
    const FrameRecord& record = mIndex.records[static_cast<std::size_t>(inFrame)];
    if (PictureCodingType(record) == 0) return Vexmora_NoCodedPicture;
    if (record.size == 0) return Vexmora_EmptyRecord;

    const CountedRef<CodedPictureBuffer> buffer = MakeCodedPictureBuffer(mReadBufferSize);
    mSplitter->Seek(static_cast<std::int64_t>(record.offset), *buffer);
    ReadStatus read = mSplitter->ReadPicture(*buffer);  // up to the picture start code
    if (read != ReadStatus::Ok) return FrameStatus(static_cast<std::int32_t>(read));
    for (int delivery = 0; delivery < kMostDeliveries; ++delivery) {
        read = mSplitter->ReadPicture(*buffer);
        if (!HasPicture(read, *buffer)) return FrameStatus(static_cast<std::int32_t>(read));
        BitReader reader(*buffer);
        PictureHeader identity;
        ReadPictureIdentity(reader, identity);
        if (identity.temporalReference != TemporalReference(record) ||
            identity.pictureCodingType != PictureCodingType(record)) {
            continue;
        }
        mParameters.picture.temporalReference = identity.temporalReference;
        mParameters.picture.pictureCodingType = identity.pictureCodingType;
        PictureRequest request = inRequest;
        if (request.forward.planes[0] == nullptr) request.forward = request.output;
        return FrameStatus(static_cast<std::int32_t>(DecodePicture(buffer, reader, request)));
    }
    return Vexmora_NoSuchFrame;
}

Vexmora_Status Decoder::GetFrameFromBuffer(std::uint32_t inDataSize, std::uint32_t inPictureType,
                                           const PictureRequest& inRequest) {
    Check(mSplitter->IsPureVideo(), contracts::kIsPureVideo);
    auto* const splitter = dynamic_cast<BufferSplitter*>(mSplitter.get());
    if (splitter == nullptr) return Vexmora_Unsupported;
    splitter->SetBufferSize(inDataSize);
    mBuffer->ClearCarry();  // the host has overwritten what the last request left
    const bool isFirst = !mSequenceHeaderRead;
    if (isFirst) {
        if (!FindSequenceHeaderInBuffer()) mParameters = {};
        mSequenceHeaderRead = true;  // not before: a search that ran out of memory is made again
    }
    if (mParameters.sequence.chromaBlocks != kChromaBlocks420) return Vexmora_NoSuchFrame;
    if (!isFirst && mSplitter->ReadPicture(*mBuffer) != ReadStatus::Ok) return Vexmora_NoSuchFrame;
    if (!HasPicture(mSplitter->ReadPicture(*mBuffer), *mBuffer)) return Vexmora_NoSuchFrame;

    BitReader reader(*mBuffer);
    ReadPictureIdentity(reader, mParameters.picture);
    const bool isWanted = mParameters.picture.pictureCodingType == inPictureType;
    mParameters.picture.pictureCodingType = inPictureType;
    if (!isWanted) return Vexmora_NoSuchFrame;
    const DecodeStatus status = DecodePicture(mBuffer, reader, inRequest);
    return status == DecodeStatus::Ok ? Vexmora_Ok : Vexmora_NoSuchFrame;
}

// Looks through what the host has written, once. The header's delivery ends with the picture start code.
bool Decoder::FindSequenceHeaderInBuffer() {
    do {
        if (mSplitter->ReadPicture(*mBuffer) != ReadStatus::Ok) return false;
        BitReader reader(*mBuffer);
        if (Vexmora::FindSequenceHeader(reader))
            return ParseSequenceHeader(reader, mParameters) == Vexmora_Ok;
    } while (mBuffer->CarrySize() != 0);
    return false;
}

// ioReader stands behind picture_coding_type, which is in the parameters.
DecodeStatus Decoder::DecodePicture(const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader,
                                    const PictureRequest& inRequest) {
    const SequenceHeader& sequence = mParameters.sequence;
    const PictureContext picture{
        .parameters = mParameters,
        .tables = *mTables,
        .primitives = SelectedPrimitives(),
        .scale = inRequest.scale,
        .forward = YV12Frame(sequence, inRequest.forward),
        .backward = YV12Frame(sequence, inRequest.backward),
        .output = YV12Frame(sequence, inRequest.output),
    };
    if (!picture.output.HasPlanes()) return DecodeStatus::NoOutput;
    if (ParsePictureHeader(ioReader, mParameters) != Vexmora_Ok) return DecodeStatus::InvalidData;
    mParameters.secondField = mParameters.secondField && CompletesFrame(mParameters);
    if (picture.IsFrame()) return DecodeFramePicture(picture, inBuffer, ioReader);
    const DecodeStatus status = DecodeFieldPicture(picture, inBuffer, ioReader);
    if (!mParameters.secondField) mParameters.firstField = mParameters.picture;
    mParameters.secondField = !mParameters.secondField;
    return status;
}

}  // namespace Vexmora
