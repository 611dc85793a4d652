// Finding the coded picture that an index record speaks of.
#pragma once

#include "CodedPicture/CodedPictureBuffer.h"
#include "Decoder/CodedOrder.h"
#include "Splitter/Splitter.h"
#include "Vexmora/Records.h"

namespace Vexmora {

/// The picture is sought in this many deliveries from its record's offset on.
inline constexpr int kMostDeliveries = 16;

/// What came of a search.
struct PictureSearch {
    bool isFound = false;
    /// Of the last delivery: EndOfData with a picture found in the last bytes of the video, too, or in bytes
    /// that fill the buffer. Ok without a picture: it was in none of the deliveries.
    ReadStatus status = ReadStatus::Ok;
};

/// Reads from the offset of the picture at inRank on up to a picture of its temporal_reference and
/// picture_coding_type, past those of the same packet that are like it and come before. It is then in
/// ioBuffer.
PictureSearch FindPicture(Splitter& ioSplitter, const CodedOrder& inOrder, std::size_t inRank,
                          CodedPictureBuffer& ioBuffer);

/// Whether a delivery, which begins behind a picture start code, is the record's picture.
bool IsPictureOf(const FrameRecord& inRecord, const CodedPictureBuffer& inDelivery);

/// Whether the next picture begins where this delivery ends, and not something else behind a sequence end.
bool EndsAtPicture(const CodedPictureBuffer& inDelivery);

}  // namespace Vexmora
