// What the command reports about a stream, worked out of its index.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VexmoraHost/Movie.h"
#include "files/RecordingFiles.h"
#include "pictures/VideoFormat.h"

namespace VexmoraCommand {

/// How many pictures of each type the index has; holes are positions without a picture.
struct PictureCounts {
    std::uint64_t typeI = 0;
    std::uint64_t typeP = 0;
    std::uint64_t typeB = 0;
    std::uint64_t holes = 0;
};

/// The facts of one file, in the units in which they are reported.
struct StreamFacts {
    std::string file;
    /// The files of which it consists.
    std::vector<std::string> parts;
    /// Path of the index file.
    std::string indexFile;
    VexmoraHost::StreamKind kind{};
    Vexmora::IndexHeader header{};
    /// At the start.
    VexmoraHost::VideoFormat format;
    /// Of all index positions, not only of the usable frames.
    PictureCounts pictures;
    /// Pictures that repeat a field: what pulldown leaves in a stream.
    std::uint64_t repeatedFields = 0;
    std::uint64_t frameCount = 0;
    bool progressive = false;
    /// The coded size where the stream has no display size.
    std::uint32_t displayWidth = 0;
    std::uint32_t displayHeight = 0;
    std::optional<double> pixelAspectRatio;
    /// Frames per second, nominally and after pulldown detection; nothing when not known.
    std::optional<double> frameRate;
    std::optional<double> effectiveFrameRate;

    /// Of each of the details' spans, by the first fields of its frames.
    std::vector<FieldOrder> spanOrders;

    /// Seconds that the usable frames last.
    std::optional<double> Duration() const;
};

/// Which field comes first in the frames of a span; Mixed where that changes.
FieldOrder FieldOrderIn(const VexmoraHost::Movie& inMovie, const VexmoraHost::FormatSpan& inSpan,
                        const VexmoraHost::VideoFormat& inFormat);

StreamFacts GatherFacts(const RecordingFiles& inRecording, const VexmoraHost::Movie& inMovie);

/// "elementary", "program" or "transport".
std::string_view KindName(VexmoraHost::StreamKind inKind);

/// "video", "audio" or "other".
std::string_view NameOf(VexmoraHost::StreamInfo::Kind inKind);

/// "progressive", "top", "bottom" or "mixed".
std::string_view NameOf(FieldOrder inOrder);

/// One record as the writers show it.
struct RecordFacts {
    /// "I", "P", "B"; empty for a hole.
    std::string_view type;
    /// Index positions of the reference pictures.
    std::optional<std::int64_t> past;
    std::optional<std::int64_t> future;
    /// "frame" or "fields"; empty for a hole.
    std::string_view structure;
    /// As type; empty where there is no second field picture.
    std::string_view secondFieldType;
};

/// @param inPosition the record's index position.
RecordFacts FactsOf(const Vexmora::FrameRecord& inRecord, const VexmoraHost::RecordDetails& inDetails,
                    std::size_t inPosition);

/// Of the record at a position.
const VexmoraHost::RecordDetails& DetailsAt(const VexmoraHost::MovieDetails& inDetails,
                                            std::size_t inPosition);

}  // namespace VexmoraCommand
