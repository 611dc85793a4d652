// An MPEG-2 file, opened with its frame index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Vexmora/Vexmora.h"
#include "VexmoraHost/Details.h"
#include "VexmoraHost/Error.h"
#include "VexmoraHost/FrameRun.h"
#include "VexmoraHost/Host.h"
#include "VexmoraHost/Picture.h"

namespace VexmoraHost {

/// Told how indexing goes on: bytes of the file done and in all; (total, total) when the index is built.
/// Returning false before that cancels: opening throws Error with Vexmora_NotFinished and nothing is left on
/// disk. Called on the thread that opens; what it throws comes out of Movie::Open.
using Progress = std::function<bool(std::uint64_t inBytesDone, std::uint64_t inBytesTotal)>;

/// How to open a file.
struct OpenOptions {
    /// Folder of the index files, each movie may have another one. Empty for `$XDG_CACHE_HOME/vexmora`, or
    /// `$HOME/.cache/vexmora` where that is not set.
    std::filesystem::path indexDir = {};
    /// Index the file even if its index is known; the new index then takes the place of the old one.
    bool forceReindex = false;
    Progress progress = {};
    /// Bytes that the block cache may keep, for all movies of the process from now on; unchanged when not
    /// given.
    std::optional<std::size_t> blockCacheBytes = {};
    /// Bytes that the frame cache may keep, likewise.
    std::optional<std::size_t> frameCacheBytes = {};
    /// Macroblocks in which the library meets an error show what those do that it could not decode, instead
    /// of red. They count as damaged all the same.
    bool concealErrors = false;
    /// Which video of the recording; the first that can be shown when nothing is chosen.
    VideoChoice choice = {};
};

enum class StreamKind { Elementary, Program, Transport };

/// What is known about a movie.
struct MovieInfo {
    /// pixelAspectRatio is 0 when the stream does not say.
    Vexmora::FileInfo file;
    Vexmora::IndexHeader index;
    StreamKind streamKind;
    /// Record of the first usable frame.
    std::uint32_t firstFrame;
    /// Usable frames, which follow one another in the records; never reaches beyond them.
    std::uint32_t frameCount;
};

/// One open file. One thread at a time may use it; several movies, of the same file too, are independent and
/// share what they read.
///
///     const Movie movie = Movie::Open("recording.ts", {.progress = [](auto inDone, auto inTotal) {
///                                                          return ShowPercent(100 * inDone / inTotal);
///                                                      }});
///     for (const Vexmora::FrameRecord& record : movie.Records()) …
class Movie {
  public:
    /// Opens a file; indexes it first when its index is not known. Throws Error.
    static Movie Open(const std::filesystem::path& inPath, const OpenOptions& inOptions = {});
    /// Opens the parts of one recording, in their order, as if they were one file: a packet or a picture may
    /// lie across the cut between two of them. Throws Error.
    static Movie Open(const std::vector<std::filesystem::path>& inPaths, const OpenOptions& inOptions = {});

    /// Absolute; of several files the first.
    const std::filesystem::path& Path() const { return mPath; }
    const MovieInfo& Info() const { return mInfo; }
    /// Every picture position, in display order, as the index file holds them: checked against the header and
    /// the length of the stream; references may point outside. Holes are zero.
    const std::vector<Vexmora::FrameRecord>& Records() const;
    /// Where the index file is kept.
    const std::filesystem::path& IndexPath() const { return mIndexPath; }

    /// The picture of a frame, decoded with whatever it is predicted from, or as the frame cache has it: the
    /// same samples in any order of access. (Of a picture with broken slices the library may decode more or
    /// less from one time to the next.) Damage in the stream is told by the picture, not by an error; for a
    /// frame that the stream does not hold, the nearest earlier picture stands in, or the nearest later one
    /// if there is none, both among the usable frames.
    /// @param inFrame 0 to Info().frameCount - 1, in display order.
    /// Throws Error with Vexmora_NoSuchFrame when there is no such frame or no picture to stand in for it,
    /// and std::bad_alloc.
    SharedPicture Frame(std::uint32_t inFrame, Scale inScale = Scale::Full);

    /// The pictures of inCount frames in display order, from inFirst on, decoded on several processors some
    /// frames ahead: four for each thread, and where each is predicted from the one before up to 32 or 64 MiB
    /// of them. They come from the frame cache where it has them, but are not added to it.
    /// @param inThreads that decode, the calling one among them; 0 for one on each processor that the calling
    ///                  thread may use.
    /// The movie stays where it is and outlives the run. Throws Error with Vexmora_NoSuchFrame when one of
    /// the frames does not exist, and std::bad_alloc.
    ///
    ///     FrameRun run = movie.Run(0, movie.Info().frameCount);
    ///     while (const SharedPicture picture = run.Next()) …
    FrameRun Run(std::uint32_t inFirst, std::uint32_t inCount, Scale inScale = Scale::Full,
                 unsigned inThreads = 0);

    /// What the recording tells beside its pictures. Reads the whole recording when it is asked for first and
    /// that was not done before, and keeps what it found beside the index. Throws Error, Vexmora_NotFinished
    /// where inProgress cancels.
    const MovieDetails& Details(const Progress& inProgress = {});
    /// The same where it is known without reading the recording, else null. Throws Error.
    const MovieDetails* KnownDetails();

    /// Whether opening had to index the file.
    bool WasIndexed() const { return mWasIndexed; }

    Movie(Movie&&) noexcept;
    Movie& operator=(Movie&&) noexcept;
    ~Movie();

  private:
    class Opener;
    struct Insides;

    Movie();

    void CheckFrame(std::uint32_t inFrame) const;

    Library mLibrary;  // first: started up for as long as the file is open
    std::filesystem::path mPath;
    MovieInfo mInfo{};
    std::filesystem::path mIndexPath;
    bool mWasIndexed = false;
    std::unique_ptr<Insides> mInsides;
};

}  // namespace VexmoraHost
