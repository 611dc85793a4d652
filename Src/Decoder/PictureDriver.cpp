// Slices in sequence, and in shares on the threads of the executor.
#include "Decoder/PictureDriver.h"

#include <algorithm>
#include <atomic>

#include "Startup/Startup.h"
#include "Vexmora/Records.h"
#include "mpeg2/SliceDecoder.h"

namespace Vexmora {
namespace {

// Moves to the next slice, past start codes that have no place among slices, and decodes it.
DecodeStatus DecodeNextSlice(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                             BitReader& ioReader, SliceReach inReach) {
    for (;;) {
        const std::int32_t code = ioReader.NextStartCode();
        if (code == BitReader::kNoStartCode) return DecodeStatus::Ok;
        const auto startCode = static_cast<std::uint32_t>(code);
        if (IsSliceStartCode(startCode))
            return DecodeSlice(inPicture, inQuantisation, ioReader, startCode, inReach);
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

// Deals a picture's slices out to tasks: large shares first, so that each task reads and writes what lies
// together, and single slices last, so that all tasks end at the same time. Static shares left up to four
// fifths of a picture's bytes to one of two threads.
class SliceDealer {
  public:
    struct Share {
        std::uint32_t first;
        std::uint32_t count;
    };
    SliceDealer(std::uint32_t inSlices, std::uint32_t inTasks) : mSlices(inSlices), mTasks(inTasks) {}

    // The slices that come next; of count 0 when there are none left.
    Share Take() {
        std::uint32_t first = mNext.load(std::memory_order_relaxed);
        std::uint32_t count = 0;
        do {
            if (first >= mSlices) return {mSlices, 0};
            count = std::max((mSlices - first) / (2 * mTasks), 1u);
        } while (!mNext.compare_exchange_weak(first, first + count, std::memory_order_relaxed));
        return {first, count};
    }

  private:
    const std::uint32_t mSlices;
    const std::uint32_t mTasks;
    std::atomic<std::uint32_t> mNext = 0;
};

// What the tasks of one picture share.
struct SliceTasks {
    const PictureContext& picture;
    const QuantisationTables& quantisation;
    const CountedRef<CodedPictureBuffer>& buffer;
    SliceDealer dealer;
    FirstFailure failure = {};
};

// Decodes the slices of one share. What fails costs the rest of its own slice only.
void DecodeSlices(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                  BitReader& ioReader, const SliceDealer::Share& inShare, SliceReach inReach,
                  FirstFailure& ioFailure) {
    for (std::uint32_t slice = inShare.first; slice < inShare.first + inShare.count; ++slice) {
        const DecodeStatus status = DecodeNextSlice(inPicture, inQuantisation, ioReader, inReach);
        if (status != DecodeStatus::Ok) ioFailure.Note(slice, status);
    }
}

// One task: share after share. Each slice stays in its row and none depends on another, so that pictures do
// not depend on the number of tasks.
void DecodeShares(SliceTasks& ioTasks) {
    SliceDealer::Share share = ioTasks.dealer.Take();
    if (share.count == 0) return;
    const CountedRef<CodedPictureBuffer> view =
        CodedPictureBuffer::CreateSliceView(ioTasks.buffer, share.first);
    BitReader reader(*view);
    for (std::uint32_t passed = share.first; share.count != 0; share = ioTasks.dealer.Take()) {
        for (; passed < share.first; ++passed) reader.PassSlice();
        DecodeSlices(ioTasks.picture, ioTasks.quantisation, reader, share, SliceReach::Row, ioTasks.failure);
        passed += share.count;
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

// Slices end with their row (ISO/IEC 13818-2, 6.1.2), where damage would have them go on. Only a picture in
// which most rows have none is taken for one whose encoder did not keep to that.
SliceReach ReachOfSlices(const CodedPictureBuffer& inBuffer, std::int32_t inRows) {
    const auto begun = static_cast<std::int32_t>(inBuffer.StartCodes().sliceRows.Size());
    return 2 * begun >= inRows ? SliceReach::Row : SliceReach::Picture;
}

}  // namespace

DecodeStatus DecodeFramePicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader) {
    const std::uint32_t height = inPicture.parameters.sequence.verticalSize;
    const auto& executor = CpuExecutor();
    const bool isSplit = executor && inBuffer->OneSlicePerRow(height) && !ReadsItsOutput(inPicture);
    const int taskCount = isSplit ? std::max(executor->ProcessorCount(), 1) : 1;
    const std::uint32_t sliceCount = inBuffer->SliceCount();
    const QuantisationTables quantisation(inPicture.parameters);
    SliceTasks tasks{inPicture, quantisation, inBuffer, {sliceCount, static_cast<std::uint32_t>(taskCount)}};
    if (taskCount == 1) {
        DecodeSlices(inPicture, quantisation, ioReader, {0, sliceCount},
                     ReachOfSlices(*inBuffer, inPicture.MacroblockRows()), tasks.failure);
    } else {
        Pavlin::threads::ExecuteCPUBoundTaskOnAllProcessors(
            *executor, [&tasks](int) { DecodeShares(tasks); }, taskCount);
    }
    return tasks.failure.Status();
}

DecodeStatus DecodeFieldPicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader) {
    const SliceReach reach = ReachOfSlices(*inBuffer, inPicture.MacroblockRows());
    const QuantisationTables quantisation(inPicture.parameters);
    FirstFailure failure;
    for (std::uint32_t slice = 0;; ++slice) {
        const std::uint32_t startCode = ioReader.PeekStartCode();
        if (!IsSliceStartCode(startCode)) return failure.Status();
        ioReader.ConsumeStartCode();
        const DecodeStatus status = DecodeSlice(inPicture, quantisation, ioReader, startCode, reach);
        if (status != DecodeStatus::Ok) failure.Note(slice, status);
    }
}

}  // namespace Vexmora
