// The facts for people to read.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "CommandError.h"
#include "files/StandardOutput.h"
#include "reports/Reports.h"
#include "reports/Units.h"

namespace VexmoraCommand {

namespace {

std::string SizeText(unsigned inWidth, unsigned inHeight) {
    return fmt::format("{} x {}", inWidth, inHeight);
}

// "16:9"; as the standard writes it.
std::string PictureAspectText(const Ratio& inDisplay) {
    return inDisplay.denominator == 100 ? fmt::format("{}:1", inDisplay.Value())
                                        : fmt::format("{}:{}", inDisplay.numerator, inDisplay.denominator);
}

std::string AspectText(const StreamFacts& inFacts) {
    if (!inFacts.pixelAspectRatio)
        return fmt::format("unknown (reserved code {})", std::uint32_t{inFacts.header.aspectRatioCode});
    return fmt::format("{:.4f} (picture {})", *inFacts.pixelAspectRatio,
                       PictureAspectText(DisplayAspect(inFacts.format)));
}

// To a thousandth, without idle zeros.
std::string RateText(double inRate) {
    return fmt::format("{}", std::round(inRate * 1000) / 1000);
}

std::string RateText(const StreamFacts& inFacts) {
    const std::string nominal = inFacts.frameRate ? RateText(*inFacts.frameRate) : "unknown";
    const std::string effective =
        inFacts.effectiveFrameRate ? RateText(*inFacts.effectiveFrameRate) : "unknown";
    std::string text = nominal + " frames/s";
    if (effective != nominal) text += ", effectively " + effective;
    if (inFacts.repeatedFields > 0)
        text += fmt::format("; {} pictures repeat a field (pulldown)", GroupedDigits(inFacts.repeatedFields));
    return text;
}

std::string FieldOrderText(const StreamFacts& inFacts) {
    const FieldOrder order = FieldOrderOf(inFacts.header);
    if (order == FieldOrder::Progressive) return "progressive sequence";
    return fmt::format("{}{}{}", NameOf(order), order == FieldOrder::Mixed ? "" : " field first",
                       inFacts.progressive ? ", progressive frames" : "");
}

std::string FramesText(const StreamFacts& inFacts) {
    if (inFacts.frameCount == 0) return "0";
    return fmt::format("{} (index positions {} to {})", GroupedDigits(inFacts.frameCount),
                       std::uint32_t{inFacts.header.firstFrame}, std::uint32_t{inFacts.header.lastFrame});
}

std::string DurationText(double inSeconds) {
    const long long milliseconds = std::llround(inSeconds * 1000);
    const long long seconds = milliseconds / 1000;
    return fmt::format("{}:{:02}:{:02}.{:03}", seconds / 3600, seconds / 60 % 60, seconds % 60,
                       milliseconds % 1000);
}

// "PID 0x0101": as the options take it.
std::string IdText(const VexmoraHost::StreamInfo& inStream, VexmoraHost::StreamKind inKind) {
    if (inKind == VexmoraHost::StreamKind::Elementary) return "";
    const bool isPid = inKind == VexmoraHost::StreamKind::Transport;
    return fmt::format("{} 0x{:X}: ", isPid ? "PID" : "stream", inStream.id);
}

void WriteStream(const VexmoraHost::StreamInfo& inStream, const StreamFacts& inFacts,
                 const VexmoraHost::MovieDetails& inDetails, bool inIsProgramShown) {
    std::string text = IdText(inStream, inFacts.kind) + inStream.codec;
    if (inStream.width != 0) text += ", " + SizeText(inStream.width, inStream.height);
    if (!inStream.language.empty()) text += ", " + inStream.language;
    const auto isHere = [&](const VexmoraHost::AudioTrack& inTrack) { return inTrack.stream == inStream; };
    const auto track = std::ranges::find_if(inDetails.audio, isHere);
    if (inIsProgramShown && track != inDetails.audio.end() && track->offset) {
        const double offset = *track->offset;
        text +=
            fmt::format(", begins {:.3f} s {} the video", std::abs(offset), offset < 0 ? "before" : "after");
    }
    const bool isShown = inIsProgramShown && inStream.id == inDetails.pid &&
                         inStream.kind == VexmoraHost::StreamInfo::Kind::Video;
    WriteField("", OnOneLine(text + (isShown ? " (shown)" : "")));
}

void WriteFormat(const VexmoraHost::FormatSpan& inSpan, const VexmoraHost::VideoFormat& inFormat) {
    const Ratio aspect = DisplayAspect(inFormat);
    const Ratio rate = FrameRate(inFormat);
    WriteField(
        "Format",
        fmt::format("frames {}-{}: {}, picture {}, {} frames/s, {}", inSpan.firstFrame,
                    inSpan.firstFrame + inSpan.frameCount - 1, SizeText(inFormat.width, inFormat.height),
                    aspect.IsKnown() ? PictureAspectText(aspect) : "of unknown shape",
                    rate.IsKnown() ? RateText(rate.Value()) : "unknown",
                    inFormat.isProgressive ? "progressive sequence" : "interlaced sequence"));
}

void WriteDetails(const StreamFacts& inFacts, const VexmoraHost::MovieDetails& inDetails) {
    if (inDetails.packetBytes != 0) WriteField("Packets", fmt::format("{} bytes", inDetails.packetBytes));
    if (const std::uint64_t bytes = inDetails.account.skippedBytes; bytes != 0)
        WriteField("Skipped", GroupedDigits(bytes) + " bytes that belong to no packet");
    for (const VexmoraHost::ProgramInfo& program : inDetails.programs) {
        const bool isShown = program.number == inDetails.program;
        const std::string name = program.number == 0 ? "without a number" : fmt::format("{}", program.number);
        WriteField("Program", name + (isShown && inDetails.programs.size() > 1 ? " (shown)" : ""));
        for (const VexmoraHost::StreamInfo& stream : program.streams)
            WriteStream(stream, inFacts, inDetails, isShown);
    }
    for (const VexmoraHost::FormatSpan& span : inDetails.spans)
        WriteFormat(span, inDetails.formats.at(span.format));
    const std::int64_t first = DetailsAt(inDetails, inFacts.header.firstFrame).presentationTime;
    const std::int64_t last = DetailsAt(inDetails, inFacts.header.lastFrame).presentationTime;
    if (first != VexmoraHost::kNoTime && last != VexmoraHost::kNoTime)
        WriteField("Shown at", fmt::format("{} to {} s", SecondsText(first, ""), SecondsText(last, "")));
}

}  // namespace

void WriteText(const StreamFacts& inFacts, const VexmoraHost::MovieDetails* inDetails) {
    const Vexmora::IndexHeader& header = inFacts.header;
    const PictureCounts& pictures = inFacts.pictures;
    const std::uint64_t length = header.streamLength;
    WriteField("File", OnOneLine(inFacts.file));
    WriteField("Stream", fmt::format("{} stream, {} bytes ({})", KindName(inFacts.kind),
                                     GroupedDigits(length), HumanBytes(static_cast<double>(length))));
    WriteField("Picture size", SizeText(header.width, header.height));
    if (header.displayWidth != 0 || header.displayHeight != 0)
        WriteField("Display size", SizeText(inFacts.displayWidth, inFacts.displayHeight));
    WriteField("Pixel aspect", AspectText(inFacts));
    WriteField("Frame rate", RateText(inFacts));
    WriteField("Field order", FieldOrderText(inFacts));
    WriteField("Usable frames", FramesText(inFacts));
    if (const auto duration = inFacts.Duration()) WriteField("Duration", DurationText(*duration));
    WriteField("Pictures", fmt::format("{} I, {} P, {} B, {} holes", GroupedDigits(pictures.typeI),
                                       GroupedDigits(pictures.typeP), GroupedDigits(pictures.typeB),
                                       GroupedDigits(pictures.holes)));
    WriteField("Largest picture", GroupedDigits(header.maxPictureSize) + " bytes");
    WriteField("Index file", OnOneLine(inFacts.indexFile));
    if (inFacts.parts.size() > 1)
        WriteField("Parts", fmt::format("{}, {} to {}", inFacts.parts.size(),
                                        OnOneLine(inFacts.parts.front()), OnOneLine(inFacts.parts.back())));
    if (inDetails != nullptr) WriteDetails(inFacts, *inDetails);
}

}  // namespace VexmoraCommand
