// The status codes that every export of the library answers with.
#pragma once

#include <cstdint>

/// Result of every export that reports success or failure; no other value leaves the library.
/// The docstring of each export says which of them it returns and what was written then.
enum Vexmora_Status : std::int32_t {
    /// Success.
    Vexmora_Ok = 0,
    /// An exception was caught at the boundary, a file could not be opened or read, a host service failed, or
    /// a required handle or pointer was null (buffer indexers).
    Vexmora_Failure = -1,
    /// The data is not supported: not MPEG-2 video in a known packaging, not 4:2:0, or not indexable.
    Vexmora_Unsupported = -2,
    /// No sequence header was found or it did not parse (MPEG-1 video is among these); from
    /// Vexmora_GetFrame: reading or decoding the picture failed.
    Vexmora_NoSequenceHeader = -3,
    /// Not finished: the file is open but has no frame index yet, or indexing has progressed: call again.
    Vexmora_NotFinished = -4,
    /// No such frame: outside the index, without data, or not found in the data that was read for it.
    Vexmora_NoSuchFrame = -5,
    /// The index was built but its index file could not be written.
    Vexmora_IndexNotWritten = -7,
    /// The frame's record holds no coded picture.
    Vexmora_NoCodedPicture = -8,
    /// The frame's record has size 0.
    Vexmora_EmptyRecord = -11,
};
