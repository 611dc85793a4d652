// Which way a recording is opened. Frames.
#include "VexmoraHost/Movie.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "frames/FrameDecoder.h"
#include "frames/FrameWorkers.h"
#include "index/IndexStore.h"
#include "memory/HostServices.h"
#include "opening/IsPlain.h"
#include "opening/PlainOpening.h"
#include "opening/SourceDetails.h"
#include "opening/SourceOpening.h"
#include "system/Posix.h"

namespace VexmoraHost {
namespace {

// The media keeps its path when the process changes its folder, and the registry tells files apart by it.
std::filesystem::path AbsolutePath(const std::filesystem::path& inPath) {
    std::error_code error;
    auto path = std::filesystem::absolute(inPath, error);
    if (error || inPath.empty()) {
        throw Error(Vexmora_Failure, inPath, "cannot be opened", "name an existing file");
    }
    return path;
}

bool IsUnsupported(const Error& inError) {
    return inError.Status() == Vexmora_Unsupported || inError.Status() == Vexmora_NoSequenceHeader;
}

// The library's way for what it takes by itself, the host's own for everything else.
std::unique_ptr<OpenedMedia> OpenFile(const std::filesystem::path& inPath, const OpenOptions& inOptions,
                                      const IndexStore& inStore) {
    PlainOpening plain(inPath, inOptions, inStore);
    Recording recording({inPath}, {});
    if (!inOptions.forceReindex) {
        if (auto known = plain.OpenKnown()) return known;
        if (auto known = FindScan(inStore, recording)) return OpenScan(known);
    }
    // Nothing is kept of what can be refused at once.
    if (IsPlain(recording)) {
        if (auto built = plain.Build()) return built;
    }
    try {
        return OpenScan(Scan(inStore, recording, inOptions.progress));
    } catch (const Error& error) {
        if (IsUnsupported(error)) plain.RememberFailure();
        throw;
    }
}

std::unique_ptr<OpenedMedia> OpenRecording(std::vector<std::filesystem::path> inPaths,
                                           const OpenOptions& inOptions, const IndexStore& inStore) {
    Recording recording(std::move(inPaths), inOptions.choice);
    auto scan = inOptions.forceReindex ? nullptr : FindScan(inStore, recording);
    if (scan == nullptr) scan = Scan(inStore, recording, inOptions.progress);
    return OpenScan(scan);
}

}  // namespace

// The open file and what makes pictures of it, wherever the movie is moved.
struct Movie::Insides {
    FrameSource Source(const Movie& inMovie);
    FrameDecoder& DecoderOf(const Movie& inMovie, Scale inScale);

    std::unique_ptr<OpenedMedia> opened;
    // Where it came from, for details.
    IndexStore store;
    std::vector<std::filesystem::path> paths;
    VideoChoice choice;
    bool concealErrors = false;
    std::optional<MovieDetails> details = {};
    // Opening stays immediate: what takes a look at all records waits for the first picture.
    std::optional<MissingAnchors> missingAnchors = {};
    // One for each scale, once it was asked for.
    std::array<std::unique_ptr<FrameDecoder>, 3> decoders = {};
};

Movie Movie::Open(const std::filesystem::path& inPath, const OpenOptions& inOptions) {
    return Open(std::vector{inPath}, inOptions);
}

Movie Movie::Open(const std::vector<std::filesystem::path>& inPaths, const OpenOptions& inOptions) {
    if (inOptions.blockCacheBytes) ProcessBlockCache().SetBudget(*inOptions.blockCacheBytes);
    if (inOptions.frameCacheBytes) ProcessFrameCache().SetBudget(*inOptions.frameCacheBytes);
    if (inPaths.empty()) throw Error(Vexmora_Failure, {}, "no file is named", "name at least one");
    std::vector<std::filesystem::path> paths;
    paths.reserve(inPaths.size());
    for (const std::filesystem::path& path : inPaths) paths.push_back(AbsolutePath(path));
    const IndexStore store = inOptions.indexDir.empty() ? IndexStore() : IndexStore(inOptions.indexDir);
    Movie movie;
    movie.mPath = paths.front();
    const bool isOneFile = paths.size() == 1 && inOptions.choice == VideoChoice{};
    auto opened =
        isOneFile ? OpenFile(paths.front(), inOptions, store) : OpenRecording(paths, inOptions, store);
    movie.mInfo = opened->info;
    movie.mIndexPath = opened->indexPath;
    movie.mWasIndexed = opened->wasIndexed;
    movie.mInsides = std::make_unique<Insides>(Insides{.opened = std::move(opened),
                                                       .store = store,
                                                       .paths = std::move(paths),
                                                       .choice = inOptions.choice,
                                                       .concealErrors = inOptions.concealErrors});
    return movie;
}

const MovieDetails& Movie::Details(const Progress& inProgress) {
    if (const MovieDetails* const known = KnownDetails()) return *known;
    Recording recording(mInsides->paths, mInsides->choice);
    const auto scan = Scan(mInsides->store, recording, inProgress);
    return mInsides->details.emplace(DetailsOf(*scan, mInfo, Records()));
}

const MovieDetails* Movie::KnownDetails() {
    Insides& insides = *mInsides;
    if (insides.details) return &*insides.details;
    auto scan = insides.opened->scan;
    if (scan == nullptr) {
        Recording recording(insides.paths, insides.choice);
        scan = FindScan(insides.store, recording);
    }
    if (scan == nullptr) return nullptr;
    return &insides.details.emplace(DetailsOf(*scan, mInfo, Records()));
}

Movie::Movie() = default;
Movie::Movie(Movie&&) noexcept = default;
Movie& Movie::operator=(Movie&&) noexcept = default;
Movie::~Movie() = default;

const std::vector<Vexmora::FrameRecord>& Movie::Records() const {
    return mInsides->opened->records;
}

SharedPicture Movie::Frame(std::uint32_t inFrame, Scale inScale) {
    CheckFrame(inFrame);
    SharedPicture picture = mInsides->DecoderOf(*this, inScale).Frame(inFrame);
    if (picture == nullptr) throw NoPictureFor(inFrame, mPath);
    return picture;
}

FrameRun Movie::Run(std::uint32_t inFirst, std::uint32_t inCount, Scale inScale, unsigned inThreads) {
    if (inCount > 0) CheckFrame(inFirst);
    if (inCount > 0 && inCount > mInfo.frameCount - inFirst) CheckFrame(mInfo.frameCount);
    const unsigned threads = inThreads > 0 ? inThreads : Posix::ProcessorCount();
    return {mPath, std::make_unique<FrameRun::Workers>(mInsides->Source(*this), FrameSpan{inFirst, inCount},
                                                       inScale, threads)};
}

void Movie::CheckFrame(std::uint32_t inFrame) const {
    if (inFrame < mInfo.frameCount) return;
    throw Error(Vexmora_NoSuchFrame, mPath, "has no frame " + std::to_string(inFrame),
                "it has " + std::to_string(mInfo.frameCount) + ", counted from 0");
}

FrameSource Movie::Insides::Source(const Movie& inMovie) {
    if (!missingAnchors) missingAnchors.emplace(opened->records);
    return {.reader = *opened->reader,
            .media = *opened->media,
            .records = opened->records,
            .missingAnchors = *missingAnchors,
            .firstFrame = inMovie.mInfo.firstFrame,
            .frameCount = inMovie.mInfo.frameCount,
            .cacheId = opened->cacheId,
            .cache = ProcessFrameCache(),
            .memory = ProcessMemory(),
            .concealErrors = concealErrors};
}

FrameDecoder& Movie::Insides::DecoderOf(const Movie& inMovie, Scale inScale) {
    auto& decoder = decoders.at(static_cast<std::size_t>(inScale));
    if (decoder == nullptr) decoder = std::make_unique<FrameDecoder>(Source(inMovie), inScale);
    return *decoder;
}

}  // namespace VexmoraHost
