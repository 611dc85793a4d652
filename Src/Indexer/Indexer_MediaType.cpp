// The media type test and the choice of an indexer.
#include "Indexer/Indexer_MediaType.h"

#include "Indexer/Indexer_ProgramStream.h"
#include "Indexer/Indexer_TransportStream.h"
#include "mpeg_system/StartCodes.h"

namespace Vexmora {

MediaType ClassifyMedia(std::span<const std::uint8_t> inFirstBytes) {
    if (inFirstBytes.size() < kMediaTypeBytes) return MediaType::Unsupported;
    const bool isStartCode = IsStartCode(inFirstBytes.data());
    const std::uint32_t code = StartCodeAt(inFirstBytes.data());
    if (isStartCode && code == kSequenceHeaderCode) return MediaType::ElementaryVideo;
    if (inFirstBytes[0] == kTransportStreamSyncByte) return MediaType::TransportStream;
    // The marker bits behind the start code of an MPEG-2 pack are 01, those of an MPEG-1 pack 0010. The two
    // bits behind the former are 0 until the clock has run for 6.6 hours (ISO/IEC 13818-1, 2.5.3.3).
    const bool isLatePack = isStartCode && code == kPackStartCode && inFirstBytes[4] >> 6 == 1;
    if (inFirstBytes[4] >> 4 == 4 || isLatePack) return MediaType::ProgramStream;
    return MediaType::Unsupported;
}

std::unique_ptr<PureVideoIndexer> MakeIndexer(MediaType inType) {
    switch (inType) {
        case MediaType::ElementaryVideo:
            return std::make_unique<PureVideoIndexer>();
        case MediaType::ProgramStream:
            return std::make_unique<ProgramStreamIndexer>();
        case MediaType::TransportStream:
            return std::make_unique<TransportStreamIndexer>();
        case MediaType::Unsupported:
            break;
    }
    return nullptr;
}

}  // namespace Vexmora
