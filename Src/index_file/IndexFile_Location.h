// Where index files lie: the host decides, the library composes the name.
#pragma once

#include <cstdint>
#include <vector>

#include "Vexmora/HostServices.h"
#include "Vexmora/UTF16String.h"
#include "index_file/IndexFile_Format.h"

namespace Vexmora {

/// Finds and reads the index file of the media at inMediaPath: where the host knows one, else at the default
/// path. A null inLocation is a host that fails. Throws std::bad_alloc.
[[nodiscard]] IndexFileStatus FindIndex(const IndexLocationTable* inLocation, const UTF16String& inMediaPath,
                                        bool inIndexFlag, StoredIndex& outIndex);

/// Where writing an index file can fail.
enum class WriteIndexStatus : std::int32_t {
    Written = 0,
    NotCreated = -2,
    NoIdentity = -5,
    NoFolder = -7,
    NotWritten = -8,
    NotRegistered = -9,
};

/// Writes a new index file for the media under a name that no file has, with the identity that the host gives
/// for the media, and tells the host. Nothing is left of a file that could not be written to its end. Throws
/// std::bad_alloc.
[[nodiscard]] WriteIndexStatus WriteIndexFile(const IndexLocationTable* inLocation,
                                              const UTF16String& inMediaPath, const IndexHeader& inHeader,
                                              const std::vector<FrameRecord>& inRecords, bool inIndexFlag);

}  // namespace Vexmora
