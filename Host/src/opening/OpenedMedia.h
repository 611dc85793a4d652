// A recording that was opened, by whichever way.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "VexmoraHost/Movie.h"
#include "frames/CodedMedia.h"
#include "opening/ScannedRecording.h"

namespace VexmoraHost {

/// Its parts refer to each other: it stays where it is.
struct OpenedMedia {
    OpenedMedia() = default;
    OpenedMedia(const OpenedMedia&) = delete;
    OpenedMedia& operator=(const OpenedMedia&) = delete;

    MovieInfo info{};
    std::filesystem::path indexPath;
    bool wasIndexed = false;
    std::uint32_t cacheId = 0;
    std::vector<Vexmora::FrameRecord> records;
    /// Null where the library reads the file by itself.
    std::shared_ptr<const ScannedRecording> scan;
    std::unique_ptr<const CodedMedia> media;
    std::unique_ptr<PictureReader> reader;
};

/// Takes over the header of an index.
void Describe(const Vexmora::IndexHeader& inHeader, MovieInfo& outInfo);

/// Tells inProgress, and throws Error (Vexmora_NotFinished) where that cancels.
void TellProgress(const Progress& inProgress, const std::filesystem::path& inPath, std::uint64_t inDone,
                  std::uint64_t inTotal);

}  // namespace VexmoraHost
