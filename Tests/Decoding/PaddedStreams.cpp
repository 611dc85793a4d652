// Padding: zeros, padding packets, null packets.
#include "Decoding/PaddedStreams.h"

#include <stdexcept>

namespace Vexmora::Test {
namespace {

constexpr std::size_t kPaddingBytes = 370'000;  // for each picture

Bytes NullPackets(std::size_t inSize) {
    constexpr unsigned kNullPid = 0x1FFF;
    const Bytes packet = TransportPacket(kNullPid, false, Bytes(184, 0xFF));
    Bytes packets;
    while (packets.size() < inSize) packets.insert(packets.end(), packet.begin(), packet.end());
    return packets;
}

}  // namespace

std::vector<PaddedStream> MakePaddedStreams(const std::filesystem::path& inPath) {
    CodedVideo pictures = CutIntoPictures(ReadAll(inPath));
    if (pictures.units.size() < kPaddedPictures)
        throw std::runtime_error("too few pictures: " + inPath.string());
    pictures.units.resize(kPaddedPictures);
    pictures.frameCount = kPaddedPictures;
    Bytes video = pictures.headers;
    Bytes padded = pictures.headers;  // zeros may precede any start code (ISO/IEC 13818-2, 5.2.3)
    for (const CodedUnit& unit : pictures.units) {
        video.insert(video.end(), unit.bytes.begin(), unit.bytes.end());
        padded.insert(padded.end(), unit.bytes.begin(), unit.bytes.end());
        padded.resize(padded.size() + kPaddingBytes);
    }
    // What precedes each of the packets that the video is cut into: at first what a stream begins with.
    const auto before = [&](const Bytes& inBeginning, std::size_t inPayload, auto inPadding) {
        const std::size_t size = kPaddedPictures * kPaddingBytes / (video.size() / inPayload);
        return Packaging{.payloadSizes = {inPayload}, .before = [=](std::size_t inNumber) {
                             return inNumber == 0 ? inBeginning : inPadding(size);
                         }};
    };
    const Bytes tables = Join({PatPacket(kPmtPid), PmtPacket(kPmtPid, {{2, kVideoPid}})});
    return {{padded, pictures},
            {ProgramStream(video, before(PackHeader(), 250, PaddingPacket)).bytes, pictures},
            {TransportStream(video, before(tables, 160, NullPackets)).bytes, pictures}};
}

}  // namespace Vexmora::Test
