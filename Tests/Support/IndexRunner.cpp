// Running the exported buffer indexer over a stream in pieces, and what its records must say.
#include <algorithm>
#include <memory>
#include <random>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

static void Scan(Vexmora_IndexerHandle inIndexer, const Bytes& inStream,
                 const std::vector<std::size_t>& inCuts, IndexResult& outResult) {
    std::size_t at = 0;
    for (std::size_t piece = 0; piece <= inCuts.size(); ++piece) {
        const std::size_t end = piece < inCuts.size() ? inCuts[piece] : inStream.size();
        if (end <= at) continue;
        const auto buffer = std::make_unique<std::uint8_t[]>(end - at);
        std::copy_n(inStream.data() + at, end - at, buffer.get());
        if (Vexmora_BufferIndexerScan(inIndexer, buffer.get(), end - at, at) != Vexmora_Ok) return;
        at = end;
    }
    outResult.done = Vexmora_BufferIndexerDone(inIndexer, inStream.size(), &outResult.header, &outResult.plan,
                                               &outResult.records);
}

IndexResult Index(const Bytes& inStream, const std::vector<std::size_t>& inCuts, Chosen inChosen) {
    IndexResult result;
    Vexmora_IndexerHandle indexer = nullptr;
    const Bytes first(inStream.begin(), inStream.begin() + 5);
    result.created = inChosen == Chosen::Transport
                         ? Vexmora_BufferIndexerCreate(&indexer)
                         : Vexmora_CreateIndexerFromFirstBuffer(first.data(), &indexer);
    if (result.created != Vexmora_Ok) return result;
    Scan(indexer, inStream, inCuts, result);
    if (Vexmora_BufferIndexerDestroy(&indexer) != Vexmora_Ok) result.created = Vexmora_Failure;
    return result;
}

std::vector<std::size_t> FixedCuts(std::size_t inStreamSize, std::size_t inPieceSize) {
    std::vector<std::size_t> cuts;
    for (std::size_t at = inPieceSize; at < inStreamSize; at += inPieceSize) cuts.push_back(at);
    return cuts;
}

std::vector<std::size_t> RandomCuts(std::size_t inStreamSize, std::size_t inSmallest, std::size_t inLargest,
                                    std::uint64_t inSeed) {
    std::mt19937_64 random(inSeed);
    std::uniform_int_distribution<std::size_t> size(inSmallest, inLargest);
    std::vector<std::size_t> cuts;
    for (std::size_t at = size(random); at < inStreamSize; at += size(random)) cuts.push_back(at);
    return cuts;
}

std::vector<Extent> ExpectedExtents(const Packetised& inStream) {
    const std::vector<std::size_t> pictures = StartCodes(inStream.video);
    std::vector<Extent> extents;
    for (std::size_t index = 0; index < pictures.size(); ++index) {
        const std::size_t offset = inStream.PacketPosition(pictures[index]);
        const std::size_t end = index + 1 < pictures.size() ? inStream.StreamPosition(pictures[index + 1])
                                                            : inStream.bytes.size();
        extents.push_back({offset, end - offset});
    }
    return extents;
}

std::vector<Extent> RecordedExtents(const IndexResult& inIndex) {
    std::vector<Extent> extents;
    for (const FrameRecord& record : inIndex.records) {
        if (PictureCodingType(record) != 0) extents.push_back({record.offset, record.size});
    }
    // In stream order; pictures of one packet end one after the other.
    std::sort(extents.begin(), extents.end(), [](const Extent& inLeft, const Extent& inRight) {
        return inLeft.offset + inLeft.size < inRight.offset + inRight.size;
    });
    return extents;
}

std::string Describe(const IndexResult& inIndex) {
    std::string text;
    for (const FrameRecord& record : inIndex.records) {
        if (!text.empty()) text += ' ';
        if (record == FrameRecord{}) {
            text += '-';
            continue;
        }
        text += "?IPB"[PictureCodingType(record)] + std::to_string(TemporalReference(record));
        const int past = record.pastRefDelta, future = record.futureRefDelta;
        if (past == 0 && future == 0) continue;
        text += (past > 0 ? "(+" : "(") + std::to_string(past);
        if (future != 0) text += (future > 0 ? "+" : "") + std::to_string(future);
        text += ')';
    }
    return text;
}

}  // namespace Vexmora::Test
