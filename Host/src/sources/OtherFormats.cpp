// The marks by which other formats are known.
#include "sources/OtherFormats.h"

#include <algorithm>
#include <array>

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;
using std::string_view_literals::operator""sv;

struct Mark {
    std::size_t at;
    std::string_view bytes;
    std::string_view problem;
};

constexpr std::array kMarks{
    Mark{4, "ftyp"sv, "is an MP4 or QuickTime file"},
    Mark{4, "moov"sv, "is an MP4 or QuickTime file"},
    Mark{4, "mdat"sv, "is an MP4 or QuickTime file"},
    Mark{4, "wide"sv, "is an MP4 or QuickTime file"},
    Mark{0, "\x1A\x45\xDF\xA3"sv, "is a Matroska or WebM file"},
    Mark{8, "AVI "sv, "is an AVI file"},
    Mark{0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, "is an ASF (Windows Media) file"},
    Mark{0, "\x06\x0E\x2B\x34\x02\x05\x01\x01"sv, "is an MXF file"},
    Mark{0, "\0\0\0\0\x01\xBC"sv, "is a GXF file"},
    Mark{0, "OggS"sv, "is an Ogg file"},
    Mark{0, "FLV\x01"sv, "is a Flash video file"},
};
// Those that hold no MPEG-2 video at all.
constexpr std::array kOtherVideo{
    Mark{0, "\x1F\x07\x00"sv, "is a DV stream"},
    Mark{0, "YUV4MPEG2"sv, "is uncompressed video"},
    Mark{0, "DKIF"sv, "is an IVF file"},
    Mark{0, "BBCD"sv, "is a Dirac stream"},
};
constexpr std::array kNoVideo{
    Mark{8, "WAVE"sv, "is a sound file"},
    Mark{0, "ID3"sv, "is a sound file"},
    Mark{0, "fLaC"sv, "is a sound file"},
};

constexpr std::string_view kRepackage =
    "if its video is MPEG-2, copy that into a transport stream: ffmpeg -i FILE -map 0 -c copy OUT.ts";
constexpr std::string_view kConvert = "convert it to MPEG-2";

bool HasMark(Bytes inStart, const Mark& inMark) {
    if (inStart.size() < inMark.at + inMark.bytes.size()) return false;
    const auto same = [](std::uint8_t inByte, char inChar) {
        return inByte == static_cast<std::uint8_t>(inChar);
    };
    return std::ranges::equal(inStart.subspan(inMark.at, inMark.bytes.size()), inMark.bytes, same);
}

template <std::size_t Count>
std::optional<Refusal> Find(Bytes inStart, const std::array<Mark, Count>& inMarks,
                            std::string_view inAdvice) {
    for (const Mark& mark : inMarks) {
        if (HasMark(inStart, mark)) return Refusal{mark.problem, inAdvice};
    }
    return {};
}

// Start codes in front of the parameters of each codec.
bool HasUnit(Bytes inStart, std::uint8_t inMask, std::uint8_t inCode) {
    for (std::size_t at = 0; at + 3 < inStart.size(); ++at) {
        const bool isCode = inStart[at] == 0 && inStart[at + 1] == 0 && inStart[at + 2] == 1;
        if (isCode && (inStart[at + 3] & inMask) == inCode) return true;
    }
    return false;
}

}  // namespace

std::optional<Refusal> RecogniseOtherFormat(Bytes inStart) {
    if (inStart.empty()) return Refusal{"is empty", "copy or record it again"};
    if (const auto container = Find(inStart, kMarks, kRepackage)) return container;
    if (const auto video = Find(inStart, kOtherVideo, kConvert)) return video;
    return Find(inStart, kNoVideo, "name a recording with video");
}

Refusal ExplainUnknownFormat(Bytes inStart) {
    const Bytes first = inStart.first(std::min<std::size_t>(inStart.size(), 64));
    if (HasUnit(first, 0x9F, 0x07) || HasUnit(first, 0xFF, 0x09)) return {"is an H.264 stream", kConvert};
    if (HasUnit(first, 0xFF, 0x40)) return {"is an HEVC stream", kConvert};
    if (HasUnit(first, 0xFF, 0xB0) || HasUnit(first, 0xF0, 0x20))
        return {"is an MPEG-4 video stream", kConvert};
    if (inStart.size() >= 2 && inStart[0] == 0xFF && (inStart[1] & 0xE0) == 0xE0)
        return {"is a sound file", "name a recording with video"};
    if (HasUnit(inStart, 0xFF, 0x00) && HasUnit(inStart, 0xFF, 0x01))
        return {"has no sequence header near its start", "cut it so that it starts with one"};
    return {"is not an MPEG-2 elementary, program or transport stream", "check the file, or convert it"};
}

}  // namespace VexmoraHost
