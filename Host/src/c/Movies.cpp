// Opening a recording from C, and what it tells of itself.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "c/OpenMovie.h"
#include "c/PictureFlags.h"
#include "c/SizedStruct.h"

namespace VexmoraHost {
namespace {

std::optional<std::uint16_t> ChoiceOf(std::uint32_t inNumber) {
    if (inNumber > std::numeric_limits<std::uint16_t>::max()) {
        throw Misuse{VEXMORA_BAD_ARGUMENT, "program or pid is no number of a stream", "give 0 to 65535"};
    }
    if (inNumber == 0) return std::nullopt;
    return static_cast<std::uint16_t>(inNumber);
}

OpenOptions OptionsOf(const vexmora_open_options* inOptions) {
    if (inOptions == nullptr) return {};
    const auto given = ReadStruct(inOptions);
    OpenOptions options;
    if (given.index_dir != nullptr) options.indexDir = given.index_dir;
    if (given.progress != nullptr) {
        options.progress = [given](std::uint64_t inDone, std::uint64_t inTotal) {
            return given.progress(given.progress_user, inDone, inTotal) == 0;
        };
    }
    options.forceReindex = given.force_reindex != 0;
    options.concealErrors = given.conceal_errors != 0;
    options.choice = {.program = ChoiceOf(given.program), .pid = ChoiceOf(given.pid)};
    return options;
}

vexmora_info InfoOf(const Movie& inMovie) {
    static_assert(sizeof(vexmora_info) == 112);
    const MovieInfo& info = inMovie.Info();
    const Vexmora::FileInfo& file = info.file;
    const std::uint32_t format = info.index.formatWord;
    vexmora_info told{};
    told.stream_length = info.index.streamLength;
    told.pixel_aspect_ratio = file.pixelAspectRatio;
    told.frame_period = file.framePeriod;
    told.stream_kind = static_cast<std::uint32_t>(info.streamKind);
    told.record_count = static_cast<std::uint32_t>(inMovie.Records().size());
    told.first_record = info.firstFrame;
    told.frame_count = info.frameCount;
    told.width = file.width;
    told.height = file.height;
    told.display_width = file.displayWidth;
    told.display_height = file.displayHeight;
    told.effective_frame_rate = file.effectiveFrameRate;
    told.video_format = format & 7;
    told.colour_primaries = format >> 3 & 7;
    told.transfer_characteristics = format >> 6 & 15;
    told.matrix_coefficients = format >> 10 & 31;
    told.field_order = (format & Vexmora::kFieldOrderMask) >> 17;
    told.is_progressive = file.progressive;
    told.was_indexed = inMovie.WasIndexed() ? 1 : 0;
    static_assert(sizeof told.identity == sizeof info.index.identity);
    std::memcpy(told.identity, &info.index.identity, sizeof told.identity);
    return told;
}

static_assert(VEXMORA_FIELDS_BOTTOM_FIRST == Vexmora::kFieldOrderBottomFirst >> 17 &&
              VEXMORA_FIELDS_TOP_FIRST == Vexmora::kFieldOrderTopFirst >> 17 &&
              VEXMORA_FIELDS_MIXED == Vexmora::kFieldOrderMixed >> 17);
static_assert(VEXMORA_STREAM_PROGRAM == static_cast<int>(StreamKind::Program) &&
              VEXMORA_STREAM_TRANSPORT == static_cast<int>(StreamKind::Transport));

vexmora_record RecordOf(const Vexmora::FrameRecord& inRecord) {
    static_assert(sizeof(vexmora_record) == 24);
    return {.offset = inRecord.offset,
            .size = inRecord.size,
            .temporal_reference = static_cast<std::uint16_t>(Vexmora::TemporalReference(inRecord)),
            .picture_coding_type = static_cast<std::uint8_t>(Vexmora::PictureCodingType(inRecord)),
            .flags = FlagsOf(inRecord),
            .past_reference = inRecord.pastRefDelta,
            .future_reference = inRecord.futureRefDelta};
}

}  // namespace

Handles<OpenMovie, vexmora_movie>& OpenMovies() {
    static auto& movies = *new Handles<OpenMovie, vexmora_movie>(
        {VEXMORA_BAD_HANDLE, "the handle names no open movie", "use what opening gave, until it is closed"});
    return movies;
}

}  // namespace VexmoraHost

using namespace VexmoraHost;  // NOLINT: nothing but the interface follows

vexmora_status vexmora_movie_open(const char* path, const vexmora_open_options* options,
                                  vexmora_movie** out_movie) {
    return vexmora_movie_open_files(&path, 1, options, out_movie);
}

vexmora_status vexmora_movie_open_files(const char* const* paths, size_t path_count,
                                        const vexmora_open_options* options, vexmora_movie** out_movie) {
    return Answer([=] {
        CheckNotNull(out_movie);
        *out_movie = nullptr;
        if (path_count > 0) CheckNotNull(paths);
        std::vector<std::filesystem::path> files;
        for (size_t file = 0; file < path_count; ++file) {
            CheckNotNull(paths[file]);
            files.emplace_back(paths[file]);
        }
        *out_movie = OpenMovies().Add(std::make_shared<OpenMovie>(Movie::Open(files, OptionsOf(options))));
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_movie_close(vexmora_movie* movie) {
    return Answer([=] {
        OpenMovies().Remove(movie);
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_movie_info(const vexmora_movie* movie, vexmora_info* out_info) {
    return Answer([=] {
        WriteStruct(InfoOf(OpenMovies().Find(movie)->movie), out_info);
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_movie_records(const vexmora_movie* movie, uint32_t first, uint32_t count,
                                     vexmora_record* out_records, size_t record_size) {
    return Answer([=] {
        const auto opened = OpenMovies().Find(movie);
        const auto& records = opened->movie.Records();
        if (first > records.size() || count > records.size() - first) {
            throw Misuse{VEXMORA_BAD_ARGUMENT, "the movie has not so many records", "see record_count"};
        }
        if (count > 0) CheckNotNull(out_records);
        CheckStructSize(record_size, sizeof(vexmora_record));
        auto* to = reinterpret_cast<std::uint8_t*>(out_records);
        for (std::uint32_t index = first; index < first + count; ++index, to += record_size) {
            const vexmora_record record = RecordOf(records[index]);
            std::memcpy(to, &record, sizeof record);
        }
        return VEXMORA_OK;
    });
}
