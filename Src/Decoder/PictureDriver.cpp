// Slices in sequence, and in contiguous ranges on the threads of the executor.
#include "Decoder/PictureDriver.h"

#include <algorithm>
#include <atomic>

#include "Startup/Startup.h"
#include "Vexmora/Records.h"
#include "mpeg2/SliceDecoder.h"

namespace Vexmora {
namespace {

// Moves to the next slice, past start codes that have no place among slices, and decodes it.
DecodeStatus DecodeNextSlice(const PictureContext& inPicture, BitReader& ioReader, SliceReach inReach) {
    for (;;) {
        const std::int32_t code = ioReader.NextStartCode();
        if (code == BitReader::kNoStartCode) return DecodeStatus::Ok;
        const auto startCode = static_cast<std::uint32_t>(code);
        if (IsSliceStartCode(startCode)) return DecodeSlice(inPicture, ioReader, startCode, inReach);
    }
}

// The failure of the earliest slice that failed, whichever failed first in time.
class FirstFailure {
  public:
    void Note(std::uint32_t inSlice, DecodeStatus inStatus) {
        const std::uint64_t failure =
            std::uint64_t{inSlice} << kStatusBits | static_cast<std::uint32_t>(inStatus);
        std::uint64_t first = mFirst.load();
        while (failure < first && !mFirst.compare_exchange_weak(first, failure)) {
        }
    }
    DecodeStatus Status() const {
        const std::uint64_t first = mFirst.load();
        return first == kNone ? DecodeStatus::Ok
                              : static_cast<DecodeStatus>(static_cast<std::uint32_t>(first));
    }

  private:
    static constexpr unsigned kStatusBits = 32;
    static constexpr std::uint64_t kNone = ~std::uint64_t{0};
    std::atomic<std::uint64_t> mFirst = kNone;
};

// What the tasks of one picture share. Nothing of it is written but the failure.
struct SliceTasks {
    const PictureContext& picture;
    const CountedRef<CodedPictureBuffer>& buffer;
    const BitReader& reader;
    std::uint32_t taskCount;
    FirstFailure failure = {};
};

// Decodes inCount slices, of which inFirst is the first. Each stays in its row and none depends on another,
// so that a failure costs the rest of its own slice only, and pictures do not depend on the number of tasks.
void DecodeRows(SliceTasks& ioTasks, BitReader& ioReader, std::uint32_t inFirst, std::uint32_t inCount) {
    for (std::uint32_t slice = inFirst; slice < inFirst + inCount; ++slice) {
        const DecodeStatus status = DecodeNextSlice(ioTasks.picture, ioReader, SliceReach::Row);
        if (status != DecodeStatus::Ok) ioTasks.failure.Note(slice, status);
    }
}

// Decodes the slices of one task; the last task also takes those that the division leaves over.
void DecodeSliceRange(SliceTasks& ioTasks, std::uint32_t inTask) {
    const std::uint32_t sliceCount = ioTasks.buffer->SliceCount();
    const std::uint32_t slicesPerTask = sliceCount / ioTasks.taskCount;
    const std::uint32_t first = inTask * slicesPerTask;
    const std::uint32_t end = inTask + 1 == ioTasks.taskCount ? sliceCount : first + slicesPerTask;
    if (first == end) return;
    if (slicesPerTask == sliceCount) {
        BitReader reader = ioTasks.reader;
        DecodeRows(ioTasks, reader, first, end - first);
    } else {
        const CountedRef<CodedPictureBuffer> view =
            CodedPictureBuffer::CreateSliceView(ioTasks.buffer, first);
        BitReader reader(*view);
        DecodeRows(ioTasks, reader, first, end - first);
    }
}

// Whether the picture is predicted from the planes that it is written to, as when the output stands in for a
// reference that is not there.
bool ReadsItsOutput(const PictureContext& inPicture) {
    const auto sharesPlane = [&output = inPicture.output](const YV12Frame& inReference) {
        return inReference.luma == output.luma || inReference.cb == output.cb || inReference.cr == output.cr;
    };
    const std::uint32_t type = inPicture.parameters.picture.pictureCodingType;
    if (type != kPictureTypeP && type != kPictureTypeB) return false;
    return sharesPlane(inPicture.forward) || (type == kPictureTypeB && sharesPlane(inPicture.backward));
}

DecodeStatus DecodeInSequence(const PictureContext& inPicture, BitReader& ioReader, std::uint32_t inSlices) {
    for (std::uint32_t slice = 0; slice < inSlices; ++slice) {
        const DecodeStatus status = DecodeNextSlice(inPicture, ioReader, SliceReach::Picture);
        if (status != DecodeStatus::Ok) return status;
    }
    return DecodeStatus::Ok;
}

}  // namespace

DecodeStatus DecodeFramePicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader) {
    if (!inBuffer->OneSlicePerRow(inPicture.parameters.sequence.verticalSize)) {
        return DecodeInSequence(inPicture, ioReader, inBuffer->SliceCount());
    }
    const auto executor = CpuExecutor();
    const bool isSplit = executor && !ReadsItsOutput(inPicture);
    const int taskCount = isSplit ? std::max(executor->ProcessorCount(), 1) : 1;
    SliceTasks tasks{inPicture, inBuffer, ioReader, static_cast<std::uint32_t>(taskCount)};
    if (taskCount == 1) {
        DecodeSliceRange(tasks, 0);
    } else {
        Pavlin::threads::ExecuteCPUBoundTaskOnAllProcessors(
            *executor, [&tasks](int inTask) { DecodeSliceRange(tasks, static_cast<std::uint32_t>(inTask)); },
            taskCount);
    }
    return tasks.failure.Status();
}

DecodeStatus DecodeFieldPicture(const PictureContext& inPicture, BitReader& ioReader) {
    for (;;) {
        const std::uint32_t startCode = ioReader.PeekStartCode();
        if (!IsSliceStartCode(startCode)) return DecodeStatus::Ok;
        ioReader.ConsumeStartCode();
        const DecodeStatus status = DecodeSlice(inPicture, ioReader, startCode, SliceReach::Picture);
        if (status != DecodeStatus::Ok) return status;
    }
}

}  // namespace Vexmora
