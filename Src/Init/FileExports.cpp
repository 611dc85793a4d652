// Start-up, shut-down, and the exports over opened files and buffer instances, each of which passes its call
// to the instance behind the barrier.
#include <memory>

#include "Decoder/Decoder.h"
#include "Init/ExceptionBarrier.h"
#include "Startup/Startup.h"
#include "Vexmora/Vexmora.h"

using Vexmora::BehindBarrier;
using Vexmora::Decoder;
using Vexmora::FileInfo;
using Vexmora::FramePlanes;
using Vexmora::FrameRecord;
using Vexmora::HostServices;
using Vexmora::IndexHeader;
using Vexmora::PictureRequest;

namespace {

Vexmora_Handle ToHandle(std::unique_ptr<Decoder> inDecoder) {
    return reinterpret_cast<Vexmora_Handle>(inDecoder.release());
}

Decoder& FromHandle(Vexmora_Handle inHandle) {
    return *reinterpret_cast<Decoder*>(inHandle);
}

PictureRequest ToRequest(const FramePlanes* inForward, const FramePlanes* inBackward,
                         const FramePlanes* outPicture, std::uint32_t inDecodeMode,
                         std::uint32_t inDecodeSubMode) {
    const auto planesOf = [](const FramePlanes* in) { return in != nullptr ? *in : FramePlanes{}; };
    return {planesOf(inForward), planesOf(inBackward), planesOf(outPicture),
            Vexmora::ToDecodeScale(inDecodeMode, inDecodeSubMode)};
}

}  // namespace

void Vexmora_Startup() {
    Vexmora::Startup();
}

void Vexmora_Shutdown() {
    Vexmora::Shutdown();
}

// ---- Opening and closing ----------------------------------------------------------------------------------

Vexmora_Status Vexmora_OpenFile(const UTF16String& inPath, const HostServices& inServices,
                                Vexmora_Handle* outHandle, IndexHeader* outIndexHeader, bool inIndexFlag) {
    return BehindBarrier([&] {
        auto decoder = std::make_unique<Decoder>(inPath, inServices, inIndexFlag);
        const Vexmora_Status status = decoder->OpenFile(outIndexHeader);
        const bool isOpen = status == Vexmora_Ok || status == Vexmora_NotFinished;
        *outHandle = isOpen ? ToHandle(std::move(decoder)) : nullptr;
        return status;
    });
}

Vexmora_Status Vexmora_OpenFileWithIndex(const UTF16String& inPath, const HostServices& inServices,
                                         const IndexHeader& inIndexHeader,
                                         const std::vector<FrameRecord>& inFrameRecords,
                                         Vexmora_Handle* outHandle) {
    return BehindBarrier([&] {
        auto decoder = std::make_unique<Decoder>(inPath, inServices, false);
        const Vexmora_Status status = decoder->OpenWithIndex(inIndexHeader, inFrameRecords);
        *outHandle = status == Vexmora_Ok ? ToHandle(std::move(decoder)) : nullptr;
        return status;
    });
}

Vexmora_Status Vexmora_OpenBufferInstance(const HostServices& inServices, std::uint32_t inBufferSize,
                                          Vexmora_Handle* outHandle, std::uint8_t** outBuffer) {
    return BehindBarrier([&] {
        auto decoder = std::make_unique<Decoder>(inServices);
        const Vexmora_Status status = decoder->OpenBuffer(inBufferSize, outBuffer);
        if (status == Vexmora_Ok) *outHandle = ToHandle(std::move(decoder));
        return status;
    });
}

Vexmora_Status Vexmora_CloseFile(Vexmora_Handle inHandle) {
    return BehindBarrier([&] {
        if (inHandle != nullptr) delete &FromHandle(inHandle);
        return Vexmora_Ok;
    });
}

// ---- Indexing and queries ---------------------------------------------------------------------------------

Vexmora_Status Vexmora_IndexFile(Vexmora_Handle inHandle, float* outProgress, bool inIndexFlag) {
    return BehindBarrier([&] { return FromHandle(inHandle).IndexFile(*outProgress, inIndexFlag); });
}

Vexmora_Status Vexmora_GetFileInfo(Vexmora_Handle inHandle, FileInfo* outInfo) {
    return BehindBarrier([&] { return FromHandle(inHandle).GetFileInfo(*outInfo); });
}

Vexmora_Status Vexmora_GetVideoFrameOffset(Vexmora_Handle inHandle, std::uint32_t* outOffset) {
    return BehindBarrier([&] {
        *outOffset = FromHandle(inHandle).GetVideoFrameOffset();
        return Vexmora_Ok;
    });
}

Vexmora_Status Vexmora_GetFrameSizes(Vexmora_Handle inHandle, std::uint32_t* outLumaSize,
                                     std::uint32_t* outChromaSize) {
    return BehindBarrier([&] {
        const auto sizes = FromHandle(inHandle).GetFrameSizes();
        *outLumaSize = sizes.luma;
        *outChromaSize = sizes.chroma;
        return Vexmora_Ok;
    });
}

Vexmora_Status Vexmora_GetFrameDependancies(Vexmora_Handle inHandle, std::int32_t inFrame,
                                            std::int32_t* outForward, std::int32_t* outBackward) {
    return BehindBarrier(
        [&] { return FromHandle(inHandle).GetFrameDependancies(inFrame, *outForward, *outBackward); });
}

std::int32_t Vexmora_IsFrameValid(Vexmora_Handle inHandle, std::int32_t inFrame) {
    return FromHandle(inHandle).IsFrameValid(inFrame) ? 1 : 0;
}

std::int32_t Vexmora_GetLastGoodFrame(Vexmora_Handle inHandle, std::int32_t inFrame) {
    return FromHandle(inHandle).GetLastGoodFrame(inFrame);
}

// ---- Decoding
// ------------------------------------------------------------------------------------------------

Vexmora_Status Vexmora_GetFrame(Vexmora_Handle inHandle, std::int32_t inFrame, const FramePlanes* inForward,
                                const FramePlanes* inBackward, const FramePlanes* outPicture,
                                std::uint32_t inDecodeMode, std::uint32_t inDecodeSubMode) {
    return BehindBarrier([&] {
        return FromHandle(inHandle).GetFrame(
            inFrame, ToRequest(inForward, inBackward, outPicture, inDecodeMode, inDecodeSubMode));
    });
}

Vexmora_Status Vexmora_GetFrameFromBuffer(Vexmora_Handle inHandle, std::uint32_t inDataSize,
                                          std::uint32_t inPictureType, const FramePlanes* inForward,
                                          const FramePlanes* inBackward, const FramePlanes* outPicture,
                                          std::uint32_t inDecodeMode, std::uint32_t inDecodeSubMode) {
    return BehindBarrier([&] {
        return FromHandle(inHandle).GetFrameFromBuffer(
            inDataSize, inPictureType,
            ToRequest(inForward, inBackward, outPicture, inDecodeMode, inDecodeSubMode));
    });
}
