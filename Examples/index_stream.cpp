// Indexes an MPEG-2 stream from standard input, buffer by buffer, and prints how many frames of each type it
// has. Usage: index_stream < recording.ts
#include <Vexmora/Vexmora.h>

#include <cstdio>
#include <vector>

int main() {
    Vexmora_Startup();
    Vexmora_IndexerHandle indexer = nullptr;
    std::vector<std::uint8_t> buffer(1 << 20);
    std::uint64_t position = 0;
    while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), stdin)) {
        if (position == 0 &&
            (size < 5 || Vexmora_CreateIndexerFromFirstBuffer(buffer.data(), &indexer) != Vexmora_Ok)) {
            break;
        }
        Vexmora_BufferIndexerScan(indexer, buffer.data(), size, position);
        position += size;
    }

    Vexmora::IndexHeader header{};
    std::vector<Vexmora::AudioAlignmentRun> plan;
    std::vector<Vexmora::FrameRecord> records;
    const Vexmora_Status status = Vexmora_BufferIndexerDone(indexer, position, &header, &plan, &records);
    Vexmora_BufferIndexerDestroy(&indexer);
    Vexmora_Shutdown();
    if (status != Vexmora_Ok) {
        std::fputs("not MPEG-2 video, or not indexable\n", stderr);
        return 1;
    }
    unsigned counts[4] = {};
    for (const Vexmora::FrameRecord& record : records) ++counts[Vexmora::PictureCodingType(record)];
    std::printf("%ux%u: %u I, %u P, %u B, %u holes\n", header.width, header.height,
                counts[Vexmora::kPictureTypeI], counts[Vexmora::kPictureTypeP],
                counts[Vexmora::kPictureTypeB], counts[0]);
}
