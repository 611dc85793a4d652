// Chooses among the video streams of a recording, or says why there is nothing to choose.
#include <algorithm>

#include "VexmoraHost/Error.h"
#include "sources/Packaging.h"
#include "sources/StreamTypes.h"

namespace VexmoraHost {
namespace {

using Kind = StreamInfo::Kind;

struct Candidate {
    const ProgramInfo* program;
    const StreamInfo* stream;
};

std::string NameOf(const Packaging& inPackaging, const StreamInfo& inStream) {
    switch (inPackaging.kind) {
        case Packaging::Kind::Transport:
            return "PID " + std::to_string(inStream.id);
        case Packaging::Kind::Program:
            return "stream id " + std::to_string(inStream.id);
        case Packaging::Kind::Elementary:
            break;
    }
    return "the stream";
}

// "PID 33 (MPEG-2 video) and PID 49 (H.264)"; "nothing" of nothing.
template <typename Items, typename Text>
std::string List(const Items& inItems, const Text& inText) {
    std::string list;
    for (std::size_t at = 0; at < inItems.size(); ++at) {
        if (at > 0) list += at + 1 == inItems.size() ? " and " : ", ";
        list += inText(inItems[at]);
    }
    return list.empty() ? "nothing" : list;
}

std::string ListStreams(const Packaging& inPackaging, const std::vector<Candidate>& inStreams) {
    return List(inStreams, [&inPackaging](const Candidate& inCandidate) {
        return NameOf(inPackaging, *inCandidate.stream) + " (" + inCandidate.stream->codec + ")";
    });
}

std::string ListPrograms(const std::vector<ProgramInfo>& inPrograms) {
    return List(inPrograms, [](const ProgramInfo& inProgram) { return std::to_string(inProgram.number); });
}

[[noreturn]] void Refuse(const std::filesystem::path& inRecording, const std::string& inProblem,
                         const std::string& inAdvice) {
    throw Error(Vexmora_Unsupported, inRecording, inProblem, inAdvice);
}

// Every video in question is something else.
[[noreturn]] void RefuseOthers(const std::filesystem::path& inRecording,
                               const std::vector<Candidate>& inVideos) {
    if (inVideos.empty())
        Refuse(inRecording, "has no MPEG-2 video near its start",
               "check that its video is MPEG-2 and not scrambled");
    const std::string& codec = inVideos.front().stream->codec;
    if (codec == kUnknownVideo)
        Refuse(inRecording, "has no MPEG-2 sequence header near its start",
               "check that its video is MPEG-2 and not scrambled");
    Refuse(inRecording,
           "holds " + codec + (codec == kMpeg1Video ? "" : " video") + ", which is not supported",
           "convert it to MPEG-2");
}

}  // namespace

ChosenVideo ChooseVideo(const Packaging& inPackaging, const VideoChoice& inChoice,
                        const std::filesystem::path& inRecording) {
    std::vector<Candidate> all;  // of the program asked for
    bool hasProgram = false;
    for (const ProgramInfo& program : inPackaging.programs) {
        if (inChoice.program.value_or(program.number) != program.number) continue;
        hasProgram = true;
        for (const StreamInfo& stream : program.streams) all.push_back({&program, &stream});
    }
    if (inChoice.program && !hasProgram) {
        Refuse(inRecording, "has no program " + std::to_string(*inChoice.program),
               "choose among " + ListPrograms(inPackaging.programs));
    }
    std::vector<Candidate> videos;
    std::ranges::copy_if(all, std::back_inserter(videos), [](const Candidate& inCandidate) {
        return inCandidate.stream->kind == Kind::Video;
    });
    const auto isMpeg2 = [](const Candidate& inCandidate) {
        return inCandidate.stream->codec == kMpeg2Video;
    };
    if (inChoice.pid) {
        const auto found = std::ranges::find_if(all, [&inChoice](const Candidate& inCandidate) {
            return inCandidate.stream->id == *inChoice.pid;
        });
        if (found == all.end()) {
            Refuse(inRecording, "has no stream with the number " + std::to_string(*inChoice.pid),
                   "choose among " + ListStreams(inPackaging, videos));
        }
        if (found->stream->kind == Kind::Video && !isMpeg2(*found)) RefuseOthers(inRecording, {*found});
        if (!isMpeg2(*found)) {
            Refuse(inRecording,
                   NameOf(inPackaging, *found->stream) + " holds " + found->stream->codec + ", no video",
                   "choose among " + ListStreams(inPackaging, videos));
        }
        return {.program = found->program->number, .id = found->stream->id};
    }
    // What the tables promise need not be in the recording: first what was seen.
    auto chosen = std::ranges::find_if(videos, [&isMpeg2](const Candidate& inCandidate) {
        return isMpeg2(inCandidate) && inCandidate.stream->width > 0;
    });
    if (chosen == videos.end()) chosen = std::ranges::find_if(videos, isMpeg2);
    if (chosen == videos.end()) RefuseOthers(inRecording, videos);
    return {.program = chosen->program->number, .id = chosen->stream->id};
}

}  // namespace VexmoraHost
