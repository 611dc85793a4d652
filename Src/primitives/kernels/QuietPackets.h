// Passing over quiet packets, given a search for start codes and for pairs of zeros.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mpeg_system/TransportPacket.h"
#include "primitives/QuietPackets.h"

namespace Vexmora {
namespace {

/// Search: HasZeroPair<kPositions>(bytes), and FindCodeButSlices(bytes, positions).
template <typename Search>
class QuietPacketSearch {
  public:
    static QuietPackets Pass(const std::uint8_t* inPackets, std::size_t inCount, std::uint32_t inVideoPid) {
        const std::uint32_t plainVideo = kPlainVideo | inVideoPid << 8;
        QuietPackets passed{0, false};
        for (; passed.count < inCount; ++passed.count) {
            const std::uint8_t* packet = inPackets + passed.count * kTransportPacketSize;
            const std::uint32_t header = std::uint32_t{packet[0]} << 24 | std::uint32_t{packet[1]} << 16 |
                                         std::uint32_t{packet[2]} << 8 | packet[3];
            if ((header & kPlainMask) == plainVideo) {
                if (!IsQuiet(packet + kTransportStreamHeaderSize)) break;
                passed.hasVideo = true;
            } else {
                const std::uint32_t pid = header >> 8 & 0x1FFF;
                const bool isInside = (header & kInsideMask) == kInside;
                if (!isInside || pid == inVideoPid || pid == kProgramAssociationPid) break;
            }
        }
        return passed;
    }

  private:
    // Of the header: sync byte, transport_error_indicator, payload_unit_start_indicator, PID,
    // adaptation_field_control.
    static constexpr std::uint32_t kPlainMask = 0xFFDFFF30;
    static constexpr std::uint32_t kPlainVideo = 0x47000010;
    static constexpr std::uint32_t kInsideMask = 0xFF400000;
    static constexpr std::uint32_t kInside = 0x47000000;

    static bool IsQuiet(const std::uint8_t* inPayload) {
        constexpr std::size_t kPairs = kTransportPacketSize - kTransportStreamHeaderSize - 1;
        constexpr std::size_t kLater = kQuietCodePositions;
        if (inPayload[kPairs] == 0) return false;
        if (!Search::template HasZeroPair<kPairs>(inPayload)) return true;
        return !Search::template HasZeroPair<kPairs - kLater>(inPayload + kLater) &&
               Search::FindCodeButSlices(inPayload, kLater) == kLater;
    }
};

}  // namespace
}  // namespace Vexmora
