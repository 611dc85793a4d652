// Decoding all slices of a picture, on as many processors as its slices allow.
#pragma once

#include "CodedPicture/CodedPictureBuffer.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/PictureContext.h"

namespace Vexmora {

/// Decodes the frame picture in inBuffer at whose first slice start code ioReader stands. Slices that begin
/// the macroblock rows one by one are spread over the processors, and none is allowed to leave its row; all
/// of them are decoded, whatever becomes of others, so that any bits give one picture and one status on any
/// number of processors. Other slices are decoded one after the other up to the first that fails. The failure
/// of the earliest slice is the answer. Throws std::bad_alloc.
DecodeStatus DecodeFramePicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader);

/// The same for a field picture, whose slices are always decoded one after the other; the first failure ends
/// it.
DecodeStatus DecodeFieldPicture(const PictureContext& inPicture, BitReader& ioReader);

}  // namespace Vexmora
