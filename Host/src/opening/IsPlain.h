// Whether the library can be asked to read a file by itself.
#pragma once

#include "sources/Recording.h"

namespace VexmoraHost {

/// Looks at the start of one file: whether it is packaged as the library expects it, with one video that is
/// like it expects it, as far as can be seen. Throws Error (Vexmora_Unsupported, with the reason) for what no
/// way leads to, and where the file cannot be read.
bool IsPlain(Recording& ioRecording);

}  // namespace VexmoraHost
