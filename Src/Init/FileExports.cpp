// The exports over opened files and buffer instances. Their insides are not built yet: each refuses its work
// and says so by its status.
#include "Vexmora/Vexmora.h"

using Vexmora::FileInfo;
using Vexmora::FramePlanes;
using Vexmora::FrameRecord;
using Vexmora::HostServices;
using Vexmora::IndexHeader;

Vexmora_Status Vexmora_OpenFile(const UTF16String&, const HostServices&, Vexmora_Handle* outHandle,
                                IndexHeader*, bool) {
    *outHandle = nullptr;
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_OpenFileWithIndex(const UTF16String&, const HostServices&, const IndexHeader&,
                                         const std::vector<FrameRecord>&, Vexmora_Handle* outHandle) {
    *outHandle = nullptr;
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_OpenBufferInstance(const HostServices&, std::uint32_t, Vexmora_Handle*,
                                          std::uint8_t**) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_CloseFile(Vexmora_Handle inHandle) {
    return inHandle == nullptr ? Vexmora_Ok : Vexmora_Failure;
}

Vexmora_Status Vexmora_IndexFile(Vexmora_Handle, float*, bool) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_GetFileInfo(Vexmora_Handle, FileInfo*) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_GetVideoFrameOffset(Vexmora_Handle, std::uint32_t*) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_GetFrameSizes(Vexmora_Handle, std::uint32_t*, std::uint32_t*) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_GetFrameDependancies(Vexmora_Handle, std::int32_t, std::int32_t*, std::int32_t*) {
    return Vexmora_Failure;
}

std::int32_t Vexmora_IsFrameValid(Vexmora_Handle, std::int32_t) {
    return Vexmora_Failure;
}

std::int32_t Vexmora_GetLastGoodFrame(Vexmora_Handle, std::int32_t) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_GetFrame(Vexmora_Handle, std::int32_t, const FramePlanes*, const FramePlanes*,
                                const FramePlanes*, std::uint32_t, std::uint32_t) {
    return Vexmora_Failure;
}

Vexmora_Status Vexmora_GetFrameFromBuffer(Vexmora_Handle, std::uint32_t, std::uint32_t, const FramePlanes*,
                                          const FramePlanes*, const FramePlanes*, std::uint32_t,
                                          std::uint32_t) {
    return Vexmora_Failure;
}
