// Parsing the headers above the slices.
#pragma once

#include "mpeg2/BitReader.h"
#include "mpeg2/DecodeStatus.h"
#include "mpeg2/Parameters.h"
#include "mpeg_system/VideoSyntax.h"

namespace Vexmora {

/// Moves behind the next sequence_header_code; false, with no start code left, if there is none.
[[nodiscard]] bool FindSequenceHeader(BitReader& ioReader);

/// Parses a sequence header, the sequence extension that must follow it, and the extensions and user data
/// behind that. ioReader stands behind the sequence_header_code; afterwards the start code behind these
/// headers is its next one (without any, the last start code there is). InvalidData, with nothing
/// written, for a header that is not valid, for video that is not MPEG-2, and for pictures wider or taller
/// than 4095.
DecodeStatus ParseSequenceHeader(BitReader& ioReader, SequenceParameters& outParameters);

/// Reads up to where ParsePictureHeader goes on: temporal_reference and picture_coding_type. ioReader stands
/// behind the picture start code.
void ReadPictureIdentity(BitReader& ioReader, PictureHeader& outPicture);

/// Parses the rest of a picture header, the picture coding extension that must follow it, and the extensions
/// and user data behind that. ioReader stands behind picture_coding_type; afterwards it stands at the first
/// start code behind these headers, which is its next one. InvalidData, with nothing written, for
/// headers that are not valid.
DecodeStatus ParsePictureHeader(BitReader& ioReader, PictureParameters& ioParameters);

/// Reads 64 weights, transmitted in zigzag order.
void ReadQuantiserMatrix(BitReader& ioReader, QuantiserMatrix& outMatrix);

}  // namespace Vexmora
