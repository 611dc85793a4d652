// What makes a media file the same file as before.
#pragma once

#include <filesystem>

#include "Vexmora/Guid.h"

namespace VexmoraHost {

using Guid = Pavlin::utility::Guid;

/// A fingerprint of the file's size, its modification time (nanoseconds) and its content: files of up to 1
/// MiB whole, of larger ones the first and last 64 KiB and 14 samples of 16 KiB evenly spread between. A file
/// that was only moved, or copied with its time, stays the same. Throws Error (Vexmora_Failure) when the file
/// cannot be read or is not a regular file.
Guid IdentifyMedia(const std::filesystem::path& inMedia);

}  // namespace VexmoraHost
