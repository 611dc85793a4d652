// The tables of stream types, descriptors and substreams.
#include "sources/StreamTypes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

#include "sources/PesHeader.h"

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Kind = StreamInfo::Kind;

struct Name {
    std::uint8_t code;
    Kind kind;
    std::string_view codec;
};

// stream_type: ISO/IEC 13818-1, table 2-34; ATSC A/53 and disc formats from 0x80 on.
constexpr std::array kStreamTypes{
    Name{0x01, Kind::Video, kMpeg1Video},
    Name{0x02, Kind::Video, kMpeg2Video},
    Name{0x03, Kind::Audio, "MPEG-1 audio"},
    Name{0x04, Kind::Audio, "MPEG-2 audio"},
    Name{0x05, Kind::Other, "private sections"},
    Name{0x06, Kind::Other, "private data"},
    Name{0x0B, Kind::Other, "DSM-CC data"},
    Name{0x0D, Kind::Other, "DSM-CC sections"},
    Name{0x0F, Kind::Audio, "AAC"},
    Name{0x10, Kind::Video, "MPEG-4 video"},
    Name{0x11, Kind::Audio, "AAC"},
    Name{0x1B, Kind::Video, kH264Video},
    Name{0x1C, Kind::Audio, "AAC"},
    Name{0x20, Kind::Video, kH264Video},
    Name{0x21, Kind::Video, "JPEG 2000"},
    Name{0x24, Kind::Video, kHevcVideo},
    Name{0x33, Kind::Video, "VVC"},
    Name{0x42, Kind::Video, "AVS"},
    Name{0x80, Kind::Audio, "LPCM"},
    Name{0x81, Kind::Audio, "AC-3"},
    Name{0x82, Kind::Audio, "DTS"},
    Name{0x83, Kind::Audio, "TrueHD"},
    Name{0x84, Kind::Audio, "E-AC-3"},
    Name{0x85, Kind::Audio, "DTS-HD"},
    Name{0x86, Kind::Audio, "DTS-HD"},
    Name{0x87, Kind::Audio, "E-AC-3"},
    Name{0x90, Kind::Other, "subtitles"},
    Name{0xA1, Kind::Audio, "E-AC-3"},
    Name{0xA2, Kind::Audio, "DTS-HD"},
    Name{0xD1, Kind::Video, "Dirac"},
    Name{0xEA, Kind::Video, "VC-1"},
};

// descriptor_tag: what they say of private data (ETSI EN 300 468, 6.2; ATSC A/52, annex A).
constexpr std::array kDescriptors{
    Name{0x45, Kind::Other, "VBI data"}, Name{0x46, Kind::Other, "teletext"},
    Name{0x56, Kind::Other, "teletext"}, Name{0x59, Kind::Other, "subtitles"},
    Name{0x6A, Kind::Audio, "AC-3"},     Name{0x7A, Kind::Audio, "E-AC-3"},
    Name{0x7B, Kind::Audio, "DTS"},      Name{0x7C, Kind::Audio, "AAC"},
    Name{0x81, Kind::Audio, "AC-3"},
};

constexpr std::uint8_t kRegistrationTag = 0x05;
constexpr std::uint8_t kLanguageTag = 0x0A;
constexpr std::uint8_t kTeletextTag = 0x56;
constexpr std::uint8_t kSubtitlingTag = 0x59;
constexpr std::uint8_t kPrivateData = 0x06;

struct Registration {
    std::string_view identifier;  // format_identifier
    Kind kind;
    std::string_view codec;
};
constexpr std::array kRegistrations{
    Registration{"AC-3", Kind::Audio, "AC-3"}, Registration{"EAC3", Kind::Audio, "E-AC-3"},
    Registration{"DTS1", Kind::Audio, "DTS"},  Registration{"DTS2", Kind::Audio, "DTS"},
    Registration{"DTS3", Kind::Audio, "DTS"},  Registration{"BSSD", Kind::Audio, "LPCM"},
    Registration{"Opus", Kind::Audio, "Opus"}, Registration{"HEVC", Kind::Video, kHevcVideo},
    Registration{"VC-1", Kind::Video, "VC-1"}, Registration{"drac", Kind::Video, "Dirac"},
};

// Substreams of private_stream_1 on discs, by the bits of the first byte that count.
struct Substream {
    std::uint8_t mask;
    Name name;
};
constexpr std::array kSubstreams{
    Substream{0xE0, {0x20, Kind::Other, "subpictures"}}, Substream{0xF8, {0x80, Kind::Audio, "AC-3"}},
    Substream{0xF8, {0x88, Kind::Audio, "DTS"}},         Substream{0xF0, {0xA0, Kind::Audio, "LPCM"}},
    Substream{0xF0, {0xB0, Kind::Audio, "TrueHD"}},      Substream{0xF0, {0xC0, Kind::Audio, "E-AC-3"}},
};

std::string Unknown(const char* inFormat, unsigned inCode) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), inFormat, inCode);
    return text.data();
}

void SetLanguage(Bytes inBytes, std::string& outLanguage) {
    constexpr std::size_t kLetters = 3;
    if (inBytes.size() < kLetters) return;
    const Bytes code = inBytes.first(kLetters);
    const auto isLetter = [](std::uint8_t inByte) { return std::isalpha(inByte) != 0; };
    if (std::ranges::all_of(code, isLetter)) outLanguage.assign(code.begin(), code.end());
}

void Apply(std::uint8_t inTag, Bytes inBytes, bool inIsPrivate, StreamInfo& ioStream) {
    const bool isSubtitle = inTag == kTeletextTag || inTag == kSubtitlingTag;
    if (inTag == kLanguageTag || (isSubtitle && ioStream.language.empty()))
        SetLanguage(inBytes, ioStream.language);
    if (!inIsPrivate) return;
    if (const auto name = std::ranges::find(kDescriptors, inTag, &Name::code); name != kDescriptors.end()) {
        ioStream.kind = name->kind;
        ioStream.codec = name->codec;
    } else if (inTag == kRegistrationTag && inBytes.size() >= 4) {
        const std::string identifier(inBytes.begin(), inBytes.begin() + 4);
        const auto known = std::ranges::find(kRegistrations, identifier, &Registration::identifier);
        if (known == kRegistrations.end()) return;
        ioStream.kind = known->kind;
        ioStream.codec = known->codec;
    }
}

}  // namespace

StreamInfo DescribeStream(std::uint8_t inStreamType, std::uint16_t inPid, Bytes inDescriptors) {
    const auto type = std::ranges::find(kStreamTypes, inStreamType, &Name::code);
    const bool isKnown = type != kStreamTypes.end();
    StreamInfo stream{.kind = isKnown ? type->kind : Kind::Other, .id = inPid, .codec = {}, .language = {}};
    stream.codec = isKnown ? type->codec : Unknown("unknown (stream type 0x%02X)", inStreamType);
    const bool isPrivate = !isKnown || inStreamType == kPrivateData;
    while (inDescriptors.size() >= 2) {
        const std::size_t size = std::min<std::size_t>(inDescriptors[1], inDescriptors.size() - 2);
        Apply(inDescriptors[0], inDescriptors.subspan(2, size), isPrivate, stream);
        inDescriptors = inDescriptors.subspan(2 + size);
    }
    return stream;
}

StreamInfo DescribePesStream(std::uint8_t inStreamId, std::uint16_t inId, Bytes inPayload) {
    StreamInfo stream{.kind = Kind::Other, .id = inId, .codec = {}, .language = {}};
    const auto name = [&stream](Kind inKind, std::string_view inCodec) {
        stream.kind = inKind;
        stream.codec = inCodec;
        return stream;
    };
    if (IsVideoStream(inStreamId)) return name(Kind::Video, kUnknownVideo);
    if (IsAudioStream(inStreamId)) return name(Kind::Audio, "MPEG audio");
    if (inStreamId == kPrivateStream1 && !inPayload.empty()) {
        const bool isAc3 = inPayload.size() >= 2 && inPayload[0] == 0x0B && inPayload[1] == 0x77;  // syncword
        if (isAc3) return name(Kind::Audio, "AC-3");
        for (const auto& [mask, known] : kSubstreams) {
            if ((inPayload[0] & mask) == known.code) return name(known.kind, known.codec);
        }
        return name(Kind::Other, "private data");
    }
    return name(Kind::Other, Unknown("unknown (stream id 0x%02X)", inStreamId));
}

}  // namespace VexmoraHost
