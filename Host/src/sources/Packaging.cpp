// Tells transport, program and elementary streams apart, wherever they begin.
#include "sources/Packaging.h"

#include <algorithm>
#include <array>

#include "VexmoraHost/Error.h"
#include "sources/OtherFormats.h"
#include "sources/ProgramPackets.h"
#include "sources/StreamListing.h"
#include "sources/TransportPackets.h"
#include "sources/VideoStartCodes.h"

namespace VexmoraHost {
namespace {

using Bytes = std::span<const std::uint8_t>;

// A stream begins within so many bytes.
constexpr std::size_t kMostGarbage = 2 << 20;

bool IsSequenceHeader(Bytes inBytes, std::size_t inAt) {
    return inAt + 3 < inBytes.size() && IsStartCode(&inBytes[inAt], 0) &&
           inBytes[inAt + 3] == kSequenceHeaderCode;
}

// Zeros in front of its first start code belong to a stream.
std::optional<Packaging> RecogniseAtBegin(Bytes inStart) {
    const auto one = std::ranges::find_if(inStart, [](std::uint8_t inByte) { return inByte != 0; });
    const auto zeros = static_cast<std::size_t>(one - inStart.begin());
    if (zeros < 2 || one == inStart.end()) return {};
    const std::size_t at = zeros - 2;
    if (IsSequenceHeader(inStart, at))
        return Packaging{.kind = Packaging::Kind::Elementary, .begin = at, .programs = {}};
    if (FindPackets(inStart.subspan(at)) == std::size_t{0})
        return Packaging{.kind = Packaging::Kind::Program, .begin = at, .programs = {}};
    return {};
}

std::optional<Packaging> FindTransport(Bytes inStart, bool inIsAll) {
    constexpr std::array kDistances{188, 192, 204};
    std::optional<Packaging> first;
    for (const int distance : kDistances) {
        if (first && first->begin == 0) break;
        const auto at = FindSync(inStart, static_cast<std::size_t>(distance), inIsAll);
        // The last packets of something else would be few.
        const bool isFew =
            !at || (*at > 0 && (inStart.size() - *at) / static_cast<std::size_t>(distance) < 4);
        if (isFew || (first && first->begin <= *at)) continue;
        first = Packaging{.kind = Packaging::Kind::Transport,
                          .packetDistance = static_cast<std::uint32_t>(distance),
                          .begin = *at,
                          .programs = {}};
    }
    return first;
}

std::optional<Packaging> Recognise(Bytes inStart, bool inIsAll) {
    if (auto packaging = RecogniseAtBegin(inStart)) return packaging;
    if (auto transport = FindTransport(inStart, inIsAll)) return transport;
    if (const auto packets = FindPackets(inStart))
        return Packaging{.kind = Packaging::Kind::Program, .begin = *packets, .programs = {}};
    for (std::size_t at = 0; at < inStart.size(); ++at) {
        if (IsSequenceHeader(inStart, at))
            return Packaging{.kind = Packaging::Kind::Elementary, .begin = at, .programs = {}};
    }
    return {};
}

}  // namespace

Packaging FindPackaging(const JoinedFiles& inFiles) {
    std::vector<std::uint8_t> buffer(std::min<std::uint64_t>(kMostGarbage, inFiles.Size()));
    const Bytes start = std::span(buffer).first(inFiles.ReadAt(0, buffer));
    const auto refuse = [&inFiles](const Refusal& inRefusal) -> Error {
        return {Vexmora_Unsupported, inFiles.Files().front().Path(), std::string(inRefusal.problem),
                std::string(inRefusal.advice)};
    };
    if (const auto other = RecogniseOtherFormat(start)) throw refuse(*other);
    auto packaging = Recognise(start, start.size() == inFiles.Size());
    if (!packaging) throw refuse(ExplainUnknownFormat(start));
    switch (packaging->kind) {
        case Packaging::Kind::Transport:
            packaging->programs = ListTransportStreams(inFiles, packaging->packetDistance, packaging->begin);
            break;
        case Packaging::Kind::Program:
            packaging->programs = ListProgramStreams(inFiles, packaging->begin);
            break;
        case Packaging::Kind::Elementary:
            packaging->programs = ListElementaryStream(inFiles, packaging->begin);
            break;
    }
    return *packaging;
}

}  // namespace VexmoraHost
