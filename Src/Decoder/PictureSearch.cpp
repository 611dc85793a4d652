// A seek, a delivery that is discarded, and deliveries that may be the picture.
#include "Decoder/PictureSearch.h"

#include "mpeg2/BitReader.h"
#include "mpeg2/Headers.h"

namespace Vexmora {

PictureSearch FindPicture(Splitter& ioSplitter, const CodedOrder& inOrder, std::size_t inRank,
                          CodedPictureBuffer& ioBuffer) {
    const FrameRecord& record = inOrder[inRank].record;
    std::size_t alike = inOrder.AlikeBefore(inRank);
    PictureSearch search;
    ioSplitter.Seek(static_cast<std::int64_t>(record.offset), ioBuffer);
    search.status = ioSplitter.ReadPicture(ioBuffer);  // up to the picture start code
    if (search.status != ReadStatus::Ok) return search;
    for (int delivery = 0; delivery < kMostDeliveries; ++delivery) {
        search.status = ioSplitter.ReadPicture(ioBuffer);
        const bool isLast = search.status == ReadStatus::EndOfData && ioBuffer.Size() != 0;
        if (search.status != ReadStatus::Ok && !isLast) return search;
        if (!IsPictureOf(record, ioBuffer) || alike-- > 0) continue;
        search.isFound = true;
        return search;
    }
    search.status = ReadStatus::Ok;
    return search;
}

bool IsPictureOf(const FrameRecord& inRecord, const CodedPictureBuffer& inDelivery) {
    BitReader reader(inDelivery);
    PictureHeader picture;
    ReadPictureIdentity(reader, picture);
    return picture.temporalReference == TemporalReference(inRecord) &&
           picture.pictureCodingType == PictureCodingType(inRecord);
}

bool EndsAtPicture(const CodedPictureBuffer& inDelivery) {
    const auto& codes = inDelivery.StartCodes().records;
    return !codes.empty() && codes.back().code == kPictureStartCode;
}

}  // namespace Vexmora
