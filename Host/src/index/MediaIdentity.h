// What makes a media file the same file as before.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "Vexmora/Guid.h"

namespace VexmoraHost {

using Guid = Pavlin::utility::Guid;

/// What the file system tells of a file without reading it. Whoever changes the content changes at least
/// one of these (`changed` cannot be set by programs), as does another file that takes the name.
struct FileFacts {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    /// Size.
    std::uint64_t bytes = 0;
    /// Times of the last modification and of the last change, nanoseconds since 1970 (UTC) modulo 2^64.
    std::uint64_t modified = 0;
    std::uint64_t changed = 0;

    friend bool operator==(const FileFacts&, const FileFacts&) = default;

    /// To be asked right after the facts were taken: whether any later change will show in them. The clocks
    /// of file systems tick slowly, so a change within the tick of the last one may not.
    bool AreSettled() const;
};

/// As the registry keeps facts; empty without any.
std::string ToText(const std::optional<FileFacts>& inFacts);

/// The facts of a regular file; no value when there is none of that name, or it may not be looked at.
std::optional<FileFacts> FactsOf(const std::filesystem::path& inPath) noexcept;

/// A fingerprint of the file's size, its modification time (nanoseconds) and its content: files of up to 1
/// MiB whole, of larger ones the first and last 64 KiB and 14 samples of 16 KiB evenly spread between. A file
/// that was only moved, or copied with its time, stays the same. Throws Error (Vexmora_Failure) when the file
/// cannot be read or is not a regular file.
Guid IdentifyMedia(const std::filesystem::path& inMedia);

}  // namespace VexmoraHost
