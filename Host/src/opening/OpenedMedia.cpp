// What all ways of opening have in common.
#include "opening/OpenedMedia.h"

#include "VexmoraHost/Error.h"

namespace VexmoraHost {
namespace {

StreamKind KindOf(const Vexmora::IndexHeader& inHeader) {
    switch (inHeader.streamKind) {
        case Vexmora::kStreamKindElementary:
            return StreamKind::Elementary;
        case Vexmora::kStreamKindTransport:
            return StreamKind::Transport;
        default:
            return StreamKind::Program;
    }
}

}  // namespace

void Describe(const Vexmora::IndexHeader& inHeader, MovieInfo& outInfo) {
    outInfo.index = inHeader;
    outInfo.streamKind = KindOf(inHeader);
    outInfo.firstFrame = inHeader.firstFrame;
    // A damaged stream may have no frame that can be used.
    outInfo.frameCount =
        inHeader.lastFrame < inHeader.firstFrame ? 0 : inHeader.lastFrame - inHeader.firstFrame + 1;
}

void TellProgress(const Progress& inProgress, const std::filesystem::path& inPath, std::uint64_t inDone,
                  std::uint64_t inTotal) {
    if (!inProgress || inProgress(inDone, inTotal)) return;
    throw Error(Vexmora_NotFinished, inPath, "was not indexed to its end",
                "cancelled; open it again to index it");
}

}  // namespace VexmoraHost
