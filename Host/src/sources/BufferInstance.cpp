// The order of calls that a buffer instance asks for.
#include "sources/BufferInstance.h"

#include <algorithm>
#include <new>

#include "memory/HostServices.h"

namespace VexmoraHost {
namespace {

constexpr std::uint32_t kMostHeaderBytes = 4096;
constexpr std::uint32_t kReserve = 8192;  // what the library asks for

}  // namespace

BufferInstance::BufferInstance(std::uint32_t inLargestFrame) {
    Vexmora_Handle handle = nullptr;
    std::uint8_t* buffer = nullptr;
    const std::uint32_t room = inLargestFrame + kMostHeaderBytes;
    if (Vexmora_OpenBufferInstance(Services(), room + kReserve, &handle, &buffer) != Vexmora_Ok) {
        throw std::bad_alloc();
    }
    mHandle.reset(handle);
    mBuffer = {buffer, room};
}

// Headers alone are no picture, but they are read. Asking for the sizes then tells the library that the
// planes which follow have them.
bool BufferInstance::Use(const SequenceParameterSet& inParameters) {
    const auto& bytes = inParameters.bytes;
    if (bytes.empty() || bytes.size() > mBuffer.size() || inParameters.chromaFormat != 1) return false;
    std::copy(bytes.begin(), bytes.end(), mBuffer.begin());
    static_cast<void>(Decode(bytes.size(), Vexmora::kPictureTypeI, {}, {}, {}));
    const PictureFormat format = Format();
    return format.info.width == inParameters.width && format.info.height == inParameters.height &&
           format.info.width != 0 && format.info.height != 0;
}

Vexmora_Status BufferInstance::Decode(std::size_t inSize, unsigned inPictureCodingType,
                                      const ReferencePlanes& inReferences,
                                      const Vexmora::FramePlanes& outPicture, const DecodeModes& inModes) {
    return Vexmora_GetFrameFromBuffer(mHandle.get(), static_cast<std::uint32_t>(inSize), inPictureCodingType,
                                      &inReferences.past, &inReferences.future, &outPicture, inModes.mode,
                                      inModes.subMode);
}

}  // namespace VexmoraHost
