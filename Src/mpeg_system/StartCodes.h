// The start codes of MPEG-2 video (ISO/IEC 13818-2, table 6-1) and of the packets of a program stream
// (ISO/IEC 13818-1, 2.5), each as the 32 bits that it is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vexmora {

inline constexpr std::size_t kStartCodePrefixSize = 3;
inline constexpr std::size_t kStartCodeSize = 4;

inline constexpr std::uint32_t kPictureStartCode = 0x100;
inline constexpr std::uint32_t kFirstSliceStartCode = 0x101;
inline constexpr std::uint32_t kLastSliceStartCode = 0x1AF;
inline constexpr std::uint32_t kUserDataStartCode = 0x1B2;
inline constexpr std::uint32_t kSequenceHeaderCode = 0x1B3;
inline constexpr std::uint32_t kExtensionStartCode = 0x1B5;
inline constexpr std::uint32_t kSequenceEndCode = 0x1B7;
inline constexpr std::uint32_t kGroupStartCode = 0x1B8;
/// The lowest one that begins a packet or a pack.
inline constexpr std::uint32_t kProgramEndCode = 0x1B9;
inline constexpr std::uint32_t kPackStartCode = 0x1BA;
inline constexpr std::uint32_t kSystemHeaderStartCode = 0x1BB;
/// PES packets; the low byte is the stream_id. Of audio and video the first stream.
inline constexpr std::uint32_t kPrivateStream1Code = 0x1BD;
inline constexpr std::uint32_t kAudioStreamCode = 0x1C0;
inline constexpr std::uint32_t kVideoStreamCode = 0x1E0;

inline constexpr bool IsSliceStartCode(std::uint32_t inCode) {
    return inCode >= kFirstSliceStartCode && inCode <= kLastSliceStartCode;
}
/// Whether PES packets of any of the 16 video streams begin so.
inline constexpr bool IsVideoStreamCode(std::uint32_t inCode) {
    return (inCode & 0xFFFFFFF0) == kVideoStreamCode;
}

/// Whether a start code begins at inBytes; needs kStartCodePrefixSize of them.
inline bool IsStartCode(const std::uint8_t* inBytes) {
    return inBytes[0] == 0 && inBytes[1] == 0 && inBytes[2] == 1;
}
/// The start code that begins at inBytes; needs kStartCodeSize of them.
inline std::uint32_t StartCodeAt(const std::uint8_t* inBytes) {
    return 0x100u | inBytes[kStartCodePrefixSize];
}

}  // namespace Vexmora
