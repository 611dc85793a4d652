// What a host asks for with one picture.
#pragma once

#include "Vexmora/FileInfo.h"
#include "mpeg2/YV12Frame.h"

namespace Vexmora {

/// The host's planes, all sized by Decoder::GetFrameSizes; those of references that are not there are null.
struct PictureRequest {
    FramePlanes forward;
    FramePlanes backward;
    FramePlanes output;
    DecodeScale scale;
};

}  // namespace Vexmora
