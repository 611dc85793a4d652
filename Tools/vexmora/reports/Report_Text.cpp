// The facts for people to read.
#include <fmt/format.h>

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

std::string AspectText(const StreamFacts& inFacts) {
    if (!inFacts.pixelAspectRatio)
        return fmt::format("unknown (reserved code {})", std::uint32_t{inFacts.header.aspectRatioCode});
    const Ratio display = DisplayAspect(inFacts.header);
    const std::string picture = display.denominator == 100  // as the standard writes it
                                    ? fmt::format("{}:1", display.Value())
                                    : fmt::format("{}:{}", display.numerator, display.denominator);
    return fmt::format("{:.4f} (picture {})", *inFacts.pixelAspectRatio, picture);
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

}  // namespace

void WriteText(const StreamFacts& inFacts) {
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
}

}  // namespace VexmoraCommand
