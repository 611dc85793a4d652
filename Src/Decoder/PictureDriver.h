// Decoding all slices of a picture, on as many processors as its slices allow.
#pragma once

#include "CodedPicture/CodedPictureBuffer.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/PictureContext.h"

namespace Vexmora {

/// Decodes the frame picture in inBuffer at whose first slice start code ioReader stands. Slices that begin
/// the macroblock rows one by one are spread over the processors; others are decoded one after the other.
/// Where slices begin most rows, none is allowed to leave its own. All slices are decoded, whatever
/// becomes of others, so that any bits give one picture and one status on any number of processors; the
/// failure of the earliest slice is the answer. Throws std::bad_alloc.
DecodeStatus DecodeFramePicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader);

/// The same for a field picture, whose slices are always decoded one after the other, up to the first start
/// code that is not a slice's.
DecodeStatus DecodeFieldPicture(const PictureContext& inPicture,
                                const CountedRef<CodedPictureBuffer>& inBuffer, BitReader& ioReader);

}  // namespace Vexmora
