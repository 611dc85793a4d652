// A recording that the host takes apart itself: scanned once, and known by its tables from then on.
#pragma once

#include <filesystem>
#include <memory>

#include "VexmoraHost/Movie.h"
#include "index/IndexStore.h"
#include "sources/Recording.h"
#include "sources/SourceIndex.h"
#include "sources/SourceTables.h"

namespace VexmoraHost {

/// What a scan found, and the files to read the pictures from.
struct ScannedRecording {
    std::shared_ptr<const JoinedFiles> files;
    SourceTables tables;
    /// Of tables.video.
    SourceIndex index;
    /// Of the tables.
    std::filesystem::path path;
    /// That it was not known.
    bool wasScanned = false;
};

/// As the store has it, where it has it. Throws Error when files cannot be read.
std::shared_ptr<const ScannedRecording> FindScan(const IndexStore& inStore, Recording& ioRecording);

/// Reads the recording from its start to its end, and keeps the tables. Throws Error: Vexmora_Unsupported and
/// Vexmora_NoSequenceHeader with the reason where there is nothing that can be decoded.
std::shared_ptr<const ScannedRecording> Scan(const IndexStore& inStore, Recording& ioRecording,
                                             const Progress& inProgress);

}  // namespace VexmoraHost
