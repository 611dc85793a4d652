// Slices in sequence, and in contiguous ranges on the threads of the executor.
#include "Decoder/PictureDriver.h"

#include <algorithm>
#include <atomic>

#include "Startup/Startup.h"
#include "mpeg2/SliceDecoder.h"

namespace Vexmora {
namespace {

// Decodes inCount slices from the one on at which ioReader stands, up to the first that fails.
DecodeStatus DecodeSlices(const PictureContext& inPicture, BitReader& ioReader, std::uint32_t inCount) {
    for (std::uint32_t slice = 0; slice < inCount; ++slice) {
        const std::uint32_t startCode = ioReader.ConsumeStartCode();
        const DecodeStatus status = DecodeSlice(inPicture, ioReader, startCode);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

// What the tasks of one picture share. Nothing of it is written but the failure.
struct SliceTasks {
    const PictureContext& picture;
    const CountedRef<CodedPictureBuffer>& buffer;
    const BitReader& reader;
    std::uint32_t taskCount;
    std::atomic<DecodeStatus> firstError = DecodeStatus::Ok;
};

// Decodes the slices of one task; the last task also takes those that the division leaves over. A task that
// runs is not stopped by failures elsewhere, one that has not begun is.
void DecodeSliceRange(SliceTasks& ioTasks, std::uint32_t inTask) {
    if (ioTasks.firstError.load() != DecodeStatus::Ok) return;
    const std::uint32_t sliceCount = ioTasks.buffer->SliceCount();
    const std::uint32_t slicesPerTask = sliceCount / ioTasks.taskCount;
    const std::uint32_t first = inTask * slicesPerTask;
    const std::uint32_t end = inTask + 1 == ioTasks.taskCount ? sliceCount : first + slicesPerTask;
    if (first == end) return;

    DecodeStatus status = DecodeStatus::Ok;
    if (slicesPerTask == sliceCount) {
        BitReader reader = ioTasks.reader;
        status = DecodeSlices(ioTasks.picture, reader, end - first);
    } else {
        const CountedRef<CodedPictureBuffer> view =
            CodedPictureBuffer::CreateSliceView(ioTasks.buffer, first);
        BitReader reader(*view);
        status = DecodeSlices(ioTasks.picture, reader, end - first);
    }
    DecodeStatus none = DecodeStatus::Ok;
    ioTasks.firstError.compare_exchange_strong(none, status);
}

}  // namespace

DecodeStatus DecodeFramePicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader) {
    const auto executor = CpuExecutor();
    if (!executor || !inBuffer->OneSlicePerRow(inPicture.parameters.sequence.verticalSize)) {
        return DecodeSlices(inPicture, ioReader, inBuffer->SliceCount());
    }
    const int taskCount = std::max(executor->ProcessorCount(), 1);
    SliceTasks tasks{inPicture, inBuffer, ioReader, static_cast<std::uint32_t>(taskCount)};
    Pavlin::threads::ExecuteCPUBoundTaskOnAllProcessors(
        *executor, [&tasks](int inTask) { DecodeSliceRange(tasks, static_cast<std::uint32_t>(inTask)); },
        taskCount);
    return tasks.firstError.load();
}

DecodeStatus DecodeFieldPicture(const PictureContext& inPicture, BitReader& ioReader) {
    for (;;) {
        const std::uint32_t startCode = ioReader.PeekStartCode();
        if (!IsSliceStartCode(startCode)) return DecodeStatus::Ok;
        ioReader.ConsumeStartCode();
        const DecodeStatus status = DecodeSlice(inPicture, ioReader, startCode);
        if (status != DecodeStatus::Ok) return status;
    }
}

}  // namespace Vexmora
