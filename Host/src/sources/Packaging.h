// How the bytes of a recording are packaged, and which video is in them.
#pragma once

#include <cstdint>
#include <vector>

#include "VexmoraHost/Programs.h"
#include "sources/JoinedFiles.h"

namespace VexmoraHost {

/// What the first bytes tell. (ISO/IEC 13818-1, 2.4 transport streams, 2.5 program streams.)
struct Packaging {
    enum class Kind {
        Elementary,
        /// Packs of ISO/IEC 11172-1 or 13818-1, or PES packets without packs.
        Program,
        Transport,
    };
    Kind kind = Kind::Elementary;
    /// From one transport packet to the next: 188, 192 (a time stamp of 4 bytes before each) or 204 (16 bytes
    /// of parity behind each).
    std::uint32_t packetDistance = 0;
    /// Position of the first packet's sync byte, of the first pack or PES packet, or of the first start code.
    std::uint64_t begin = 0;
    /// In the order of the tables. Without tables one program of number 0 with the streams that were met.
    std::vector<ProgramInfo> programs;

    /// Bytes in front that belong to nothing: the first packet's time stamp is its own.
    std::uint64_t SkippedAtStart() const {
        constexpr std::uint64_t kTimeStampBytes = 4;
        return packetDistance == 192 && begin >= kTimeStampBytes ? begin - kTimeStampBytes : begin;
    }
};

/// Looks at the begin of the recording: as far as the tables and the sizes of the video streams need, 16 MiB
/// at most. Throws Error (Vexmora_Unsupported) with what it is instead where it is nothing of that: "is in an
/// MP4 (ISO base media) file", … "repackage it as …".
Packaging FindPackaging(const JoinedFiles& inFiles);

/// A video stream of the packaging.
struct ChosenVideo {
    std::uint16_t program = 0;
    std::uint16_t id = 0;
};

/// The video that is to be shown. Throws Error (Vexmora_Unsupported) when there is no such program or stream
/// (and names those that there are), or when it is not MPEG-2 video (and says what it is).
ChosenVideo ChooseVideo(const Packaging& inPackaging, const VideoChoice& inChoice,
                        const std::filesystem::path& inRecording);

}  // namespace VexmoraHost
