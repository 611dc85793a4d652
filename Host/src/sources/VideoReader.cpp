// Makes the reader that a packaging needs.
#include "sources/VideoReader.h"

#include "sources/ElementaryReader.h"
#include "sources/ProgramReader.h"
#include "sources/TransportReader.h"

namespace VexmoraHost {

std::unique_ptr<VideoReader> MakeScanningReader(const JoinedFiles& inFiles, const Packaging& inPackaging,
                                                const ChosenVideo& inVideo, StreamAccount& ioAccount) {
    ioAccount = {};
    switch (inPackaging.kind) {
        case Packaging::Kind::Transport:
            return std::make_unique<TransportScanner>(inFiles, inPackaging, inVideo, ioAccount);
        case Packaging::Kind::Program:
            return std::make_unique<ProgramReader>(inFiles, inPackaging.begin,
                                                   static_cast<std::uint8_t>(inVideo.id), &ioAccount);
        case Packaging::Kind::Elementary:
            break;
    }
    ioAccount.videoPids = {{.position = 0, .pid = inVideo.id}};
    ioAccount.skippedBytes = inPackaging.begin;
    return std::make_unique<ElementaryReader>(inFiles, inPackaging.begin);
}

std::unique_ptr<VideoReader> MakeRandomReader(const JoinedFiles& inFiles, const Packaging& inPackaging,
                                              const StreamAccount& inAccount) {
    switch (inPackaging.kind) {
        case Packaging::Kind::Transport:
            return std::make_unique<TransportReader>(inFiles, inPackaging, inAccount);
        case Packaging::Kind::Program: {
            const auto id = inAccount.videoPids.empty() ? 0u : inAccount.videoPids.front().pid;
            return std::make_unique<ProgramReader>(inFiles, inPackaging.begin, static_cast<std::uint8_t>(id),
                                                   nullptr);
        }
        case Packaging::Kind::Elementary:
            break;
    }
    return std::make_unique<ElementaryReader>(inFiles, inPackaging.begin);
}

}  // namespace VexmoraHost
