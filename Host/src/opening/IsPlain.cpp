// A scan of the first pictures.
#include "opening/IsPlain.h"

#include <algorithm>
#include <cstdint>

#include "VexmoraHost/Error.h"
#include "sources/VideoReader.h"
#include "sources/VideoScanner.h"

namespace VexmoraHost {
namespace {

constexpr std::uint64_t kStartBytes = std::uint64_t{1} << 20;
constexpr std::uint32_t kPlainPackets = 188;
constexpr std::uint16_t kFirstVideoStream = 0xE0;

bool HasPlainPackets(const Packaging& inPackaging, const ChosenVideo& inVideo) {
    if (inPackaging.begin != 0 || inPackaging.programs.size() != 1) return false;
    if (inPackaging.kind == Packaging::Kind::Program && inVideo.id != kFirstVideoStream) return false;
    if (inPackaging.kind == Packaging::Kind::Transport && inPackaging.packetDistance != kPlainPackets)
        return false;
    const auto isVideo = [](const StreamInfo& in) { return in.kind == StreamInfo::Kind::Video; };
    return std::ranges::count_if(inPackaging.programs.front().streams, isVideo) == 1;
}

bool IsPlain(const SequenceParameterSet& inParameters) {
    const auto fits = [](std::uint32_t inShown, std::uint32_t inCoded) {
        return inShown == 0 || inShown == inCoded;
    };
    return inParameters.chromaFormat == 1 && fits(inParameters.displayWidth, inParameters.width) &&
           fits(inParameters.displayHeight, inParameters.height);
}

}  // namespace

bool IsPlain(Recording& ioRecording) {
    const JoinedFiles& files = *ioRecording.Files();
    const Packaging packaging = FindPackaging(files);
    const ChosenVideo video = ChooseVideo(packaging, ioRecording.Choice(), ioRecording.Path());
    if (!HasPlainPackets(packaging, video)) return false;
    StreamAccount account;
    const JoinedFiles first = files.First(kStartBytes);
    const auto reader = MakeScanningReader(first, packaging, video, account);
    VideoScanner scanner;
    for (VideoPiece piece; reader->Next(piece);) scanner.Add(piece);
    const CodedVideo start = scanner.Finish();
    const auto isPlain = [](const SequenceParameterSet& in) { return IsPlain(in); };
    const auto isOfFields = [](const CodedFrame& in) { return in.IsField(); };
    return std::ranges::all_of(start.parameters, isPlain) && std::ranges::none_of(start.frames, isOfFields);
}

}  // namespace VexmoraHost
