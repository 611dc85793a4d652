// The five exports that index buffers of the host; allocation failures pass through them.
#include <memory>
#include <new>

#include "Indexer/Indexer.h"
#include "Indexer/Indexer_MediaType.h"
#include "Vexmora/Vexmora.h"

using Vexmora::PureVideoIndexer;

namespace {

PureVideoIndexer* FromHandle(Vexmora_IndexerHandle inHandle) {
    return reinterpret_cast<PureVideoIndexer*>(inHandle);
}

// Makes an indexer; null through outIndexer when the type has none or there is no memory for it.
Vexmora_Status Make(Vexmora::MediaType inType, Vexmora_IndexerHandle* outIndexer) {
    *outIndexer = nullptr;
    try {
        *outIndexer = reinterpret_cast<Vexmora_IndexerHandle>(Vexmora::MakeIndexer(inType).release());
    } catch (const std::bad_alloc&) {
        return Vexmora_Failure;
    }
    return *outIndexer != nullptr ? Vexmora_Ok : Vexmora_Failure;
}

}  // namespace

Vexmora_Status Vexmora_CreateIndexerFromFirstBuffer(const std::uint8_t* inFirstBytes,
                                                    Vexmora_IndexerHandle* outIndexer) {
    if (outIndexer == nullptr) return Vexmora_Failure;
    if (inFirstBytes == nullptr) return Make(Vexmora::MediaType::Unsupported, outIndexer);
    return Make(Vexmora::ClassifyMedia({inFirstBytes, Vexmora::kMediaTypeBytes}), outIndexer);
}

Vexmora_Status Vexmora_BufferIndexerCreate(Vexmora_IndexerHandle* outIndexer) {
    if (outIndexer == nullptr) return Vexmora_Failure;
    return Make(Vexmora::MediaType::TransportStream, outIndexer);
}

Vexmora_Status Vexmora_BufferIndexerScan(Vexmora_IndexerHandle inIndexer, const std::uint8_t* inBuffer,
                                         std::uint64_t inBufferSize, std::uint64_t inFileOffset) {
    if (inIndexer == nullptr || inBuffer == nullptr || inBufferSize == 0) return Vexmora_Failure;
    PureVideoIndexer& indexer = *FromHandle(inIndexer);
    return indexer.Latch().Run([&] {
        // A scan that has failed says so in the end, when the index is asked for.
        static_cast<void>(indexer.ScanBuffer(inBuffer, inBufferSize, inFileOffset));
        return Vexmora_Ok;
    });
}

Vexmora_Status Vexmora_BufferIndexerDone(Vexmora_IndexerHandle inIndexer, std::uint64_t inEndOffset,
                                         Vexmora::IndexHeader* outIndexHeader,
                                         std::vector<Vexmora::AudioAlignmentRun>* outAlignmentPlan,
                                         std::vector<Vexmora::FrameRecord>* outFrameRecords) {
    if (inIndexer == nullptr || outIndexHeader == nullptr || outAlignmentPlan == nullptr ||
        outFrameRecords == nullptr) {
        return Vexmora_Failure;
    }
    PureVideoIndexer& indexer = *FromHandle(inIndexer);
    return indexer.Latch().Run([&] {
        const bool isIndexed =
            indexer.FinishIndex(inEndOffset, *outIndexHeader, *outAlignmentPlan, *outFrameRecords);
        return isIndexed ? Vexmora_Ok : Vexmora_Unsupported;
    });
}

Vexmora_Status Vexmora_BufferIndexerDestroy(Vexmora_IndexerHandle* ioIndexer) {
    if (ioIndexer == nullptr || *ioIndexer == nullptr) return Vexmora_Failure;
    delete FromHandle(*ioIndexer);
    *ioIndexer = nullptr;
    return Vexmora_Ok;
}
