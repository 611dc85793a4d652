// Frames and field pairs through a buffer instance.
#include "sources/SourceReader.h"

#include <algorithm>
#include <utility>

#include "VexmoraHost/Error.h"
#include "sources/SourceIndex.h"

namespace VexmoraHost {

SourceReader::SourceReader(std::unique_ptr<VideoReader> inReader, const CodedVideo& inVideo,
                           std::span<const std::uint32_t> inFrames, std::uint32_t inLargestFrame)
    : mVideo(inVideo), mFrames(inFrames), mReader(std::move(inReader)), mInstance(inLargestFrame) {}

Vexmora_Status SourceReader::Decode(std::int32_t inRecord, const ReferencePlanes& inReferences,
                                    const Vexmora::FramePlanes& outPicture, const DecodeModes& inModes) {
    if (inRecord < 0 || static_cast<std::size_t>(inRecord) >= mFrames.size()) return Vexmora_NoSuchFrame;
    const std::uint32_t index = mFrames[static_cast<std::size_t>(inRecord)];
    if (index == kNoCodedFrame) return Vexmora_NoCodedPicture;
    const CodedFrame& frame = mVideo.frames[index];
    if (const Vexmora_Status status = Fetch(frame); status != Vexmora_Ok) return status;
    const Vexmora_Status status = DecodeFields(frame, inReferences, outPicture, inModes);
    // So the library answers for a picture that was decoded in part, too: it is shown. The red in it tells of
    // the fault, but field pictures have none.
    return status == Vexmora_NoSuchFrame && !frame.IsField() ? Vexmora_Ok : status;
}

bool SourceReader::NeedsPast(const CodedFrame& inFrame) {
    if (Fetch(inFrame) != Vexmora_Ok) return true;
    const PictureFormat format = mInstance.Format();
    std::vector<std::uint8_t> planes(format.least.luma + 2 * std::size_t{format.least.chroma});
    std::uint8_t* const cb = planes.data() + format.least.luma;
    return DecodeFields(inFrame, {}, {{planes.data(), cb, cb + format.least.chroma}}, {}) != Vexmora_Ok;
}

// Puts the frame with its headers into the buffer, but its second field aside. The headers go with every
// frame, as the matrices of other frames stay in force.
Vexmora_Status SourceReader::Fetch(const CodedFrame& inFrame) {
    const SequenceParameterSet& parameters = mVideo.parameters[inFrame.parameters];
    if (mParameters != inFrame.parameters) {
        mIsDecodable = mInstance.Use(parameters);
        mParameters = inFrame.parameters;
    }
    if (!mIsDecodable) return Vexmora_Unsupported;
    const std::span<std::uint8_t> buffer = mInstance.Buffer();
    std::copy(parameters.bytes.begin(), parameters.bytes.end(), buffer.begin());
    const auto room = buffer.subspan(parameters.bytes.size());
    if (inFrame.size > room.size()) return Vexmora_NoSequenceHeader;
    const auto coded = room.first(inFrame.size);
    try {
        if (!mReader.Read(inFrame, coded)) return Vexmora_NoSequenceHeader;
    } catch (const Error& error) {
        return error.Status();
    }
    if (inFrame.secondField >= inFrame.size) return Vexmora_NoSequenceHeader;
    const auto second = coded.subspan(inFrame.secondField);
    if (inFrame.IsFieldPair()) mSecondField.assign(second.begin(), second.end());
    return Vexmora_Ok;
}

// The header of the second field stays away: the first one's matrices are in force, and it waits for it.
Vexmora_Status SourceReader::DecodeFields(const CodedFrame& inFrame, const ReferencePlanes& inReferences,
                                          const Vexmora::FramePlanes& outPicture,
                                          const DecodeModes& inModes) {
    const std::size_t headers = mVideo.parameters[inFrame.parameters].bytes.size();
    const std::size_t first = inFrame.IsFieldPair() ? inFrame.secondField : inFrame.size;
    const Vexmora_Status status =
        mInstance.Decode(headers + first, inFrame.PictureCodingType(), inReferences, outPicture, inModes);
    if (!inFrame.IsFieldPair()) return status;
    std::copy(mSecondField.begin(), mSecondField.end(), mInstance.Buffer().begin());
    const Vexmora_Status second =
        mInstance.Decode(mSecondField.size(), inFrame.SecondFieldType(), inReferences, outPicture, inModes);
    return status != Vexmora_Ok ? status : second;
}

}  // namespace VexmoraHost
