// Back to a picture in front of which the parameters are known, or behind which a sequence header lies, and
// forward again over the matrices met on the way.
#include "Decoder/ParametersByPosition.h"

#include <utility>

#include "Decoder/PictureSearch.h"

namespace Vexmora {
namespace {

// The file could not be read this time. What it says there is not known.
bool HasFailed(ReadStatus inStatus) {
    return inStatus == ReadStatus::FileFailed || inStatus == ReadStatus::ServiceFailed;
}

}  // namespace

ReadStatus ParametersByPosition::Find(std::size_t inRank, CodedPictureBuffer& ioBuffer,
                                      SequenceParameters& outParameters) {
    std::optional<SequenceParameters> parameters = mKnown->At(inRank);
    std::vector<std::pair<std::size_t, MatrixLoads>> loads;  // and the pictures that bring them, backwards
    std::size_t rank = inRank;
    while (!parameters) {
        ParameterChange change;
        ReadStatus status = ReadStatus::Ok;
        if (rank == 0) {
            status = ReadFront(ioBuffer, parameters.emplace());
        } else {
            --rank;
            status = ReadChange(rank, ioBuffer, change);
            parameters = change.sequence ? change.sequence : mKnown->At(rank);
        }
        if (HasFailed(status)) return status;
        if (change.sequence) {
            ++rank;
        } else if (!change.IsNone()) {
            loads.emplace_back(rank, change.loads);
        }
    }
    for (auto load = loads.rbegin(); load != loads.rend(); ++load) {
        const auto& [loading, matrices] = *load;
        mKnown->Note(rank, loading, *parameters);
        parameters->matrices.Load(matrices);
        rank = loading + 1;
    }
    if (!mKnown->IsKnown(inRank)) mKnown->Note(rank, inRank, *parameters);
    outParameters = *parameters;
    return ReadStatus::Ok;
}

// Sequence headers in front of the first picture, and pictures without a record.
ReadStatus ParametersByPosition::ReadFront(CodedPictureBuffer& ioBuffer, SequenceParameters& outParameters) {
    outParameters = mFirst;
    SequenceParameters parameters = mFirst;
    mSplitter.Seek(0, ioBuffer);
    for (int delivery = 0; delivery < kMostDeliveries; ++delivery) {
        const ReadStatus status = mSplitter.ReadPicture(ioBuffer);
        if (status != ReadStatus::Ok && status != ReadStatus::EndOfData) return status;
        if (IsPictureOf(Order()[0].record, ioBuffer)) {
            outParameters = parameters;
            return ReadStatus::Ok;
        }
        if (status != ReadStatus::Ok) return status;
        ParameterChange change;
        change.Add(ioBuffer);
        change.ApplyTo(parameters);
    }
    return ReadStatus::Ok;
}

ReadStatus ParametersByPosition::ReadChange(std::size_t inRank, CodedPictureBuffer& ioBuffer,
                                            ParameterChange& outChange) {
    const PictureSearch search = FindPicture(mSplitter, Order(), inRank, ioBuffer);
    if (!search.isFound || search.status != ReadStatus::Ok) return search.status;
    return FinishChange(ioBuffer, outChange);
}

// The headers behind a sequence end belong to the picture before it, too.
ReadStatus ParametersByPosition::FinishChange(CodedPictureBuffer& ioBuffer, ParameterChange& outChange) {
    outChange.Add(ioBuffer);
    for (int delivery = 0; delivery < kMostDeliveries && !EndsAtPicture(ioBuffer); ++delivery) {
        const ReadStatus status = mSplitter.ReadPicture(ioBuffer);
        if (status != ReadStatus::Ok) return status;
        outChange.Add(ioBuffer);
    }
    return ReadStatus::Ok;
}

void ParametersByPosition::Learn(std::size_t inRank, CodedPictureBuffer& ioBuffer) {
    if (mKnown->IsKnown(inRank + 1)) return;
    std::optional<SequenceParameters> parameters = mKnown->At(inRank);
    ParameterChange change;
    if (!parameters || HasFailed(FinishChange(ioBuffer, change))) return;
    change.ApplyTo(*parameters);
    mKnown->Note(inRank + 1, inRank + 1, *parameters);
}

}  // namespace Vexmora
