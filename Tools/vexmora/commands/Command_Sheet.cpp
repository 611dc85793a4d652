// vexmora sheet: evenly spaced frames with their numbers on one picture.
#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "commands/Commands.h"
#include "files/OutputFile.h"
#include "files/StandardOutput.h"
#include "movies/FrameFormats.h"
#include "movies/FrameNumbers.h"
#include "pictures/BitmapFont.h"
#include "pictures/Png.h"
#include "reports/DamageSummary.h"
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Scale;

constexpr std::uint32_t kGap = 8;
constexpr std::uint8_t kPaper = 0x20;
constexpr std::uint32_t kMargin = 4;  // above and below a label

// What a sheet may take: pictures that a damaged header makes narrow would be stretched to millions of
// lines.
constexpr std::uint64_t kMostLines = 100'000;
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 29;

// Where everything goes on a sheet.
struct Layout {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    std::uint32_t pictureWidth = 0;
    std::uint32_t pictureHeight = 0;
    std::uint32_t dot = 1;  // of a label, in samples

    std::uint32_t LabelHeight() const { return kLetterHeight * dot + 2 * kMargin; }
    std::uint32_t Left(std::uint32_t inCell) const { return kGap + inCell % columns * (pictureWidth + kGap); }
    std::uint32_t Top(std::uint32_t inCell) const {
        return kGap + inCell / columns * (pictureHeight + LabelHeight());
    }
    // A picture of another shape leaves room at two sides.
    std::pair<std::uint32_t, std::uint32_t> SizeFor(double inShape) const {
        const auto rounded = [](double inSize) {
            return static_cast<std::uint32_t>(std::max(1L, std::lround(inSize)));
        };
        const std::uint32_t height = rounded(pictureWidth / inShape);
        if (height <= pictureHeight) return {pictureWidth, height};
        return {std::min(pictureWidth, rounded(pictureHeight * inShape)), pictureHeight};
    }
    std::uint32_t Width() const { return Left(columns - 1) + pictureWidth + kGap; }
    std::uint32_t Height() const { return Top((rows - 1) * columns) + pictureHeight + LabelHeight(); }
};

// Width over height of a picture as it is to be seen.
double ShapeOf(const VexmoraHost::VideoFormat& inFormat) {
    return static_cast<double>(ViewingWidth(inFormat.width, SampleAspect(inFormat, Scale::Full))) /
           inFormat.height;
}

// A sheet for inCells pictures, shaped as the movie begins.
Layout LayOut(const SheetOptions& inOptions, const VexmoraHost::VideoFormat& inFormat,
              std::uint32_t inCells) {
    constexpr std::uint32_t kSmallest = 16;
    constexpr std::uint32_t kWidthPerDot = 160;
    Layout layout;
    layout.columns = std::min(inOptions.columns, inCells);
    layout.rows = (inCells + layout.columns - 1) / layout.columns;
    const std::uint32_t gaps = (layout.columns + 1) * kGap;
    if (inOptions.width < gaps + layout.columns * kSmallest) {
        throw CommandError(ExitStatus::Usage, inOptions.out,
                           fmt::format("{} pictures do not fit beside one another on {} samples",
                                       layout.columns, inOptions.width),
                           "ask for a larger --width or fewer --columns");
    }
    layout.pictureWidth = (inOptions.width - gaps) / layout.columns;
    layout.pictureHeight =
        static_cast<std::uint32_t>(std::max(1L, std::lround(layout.pictureWidth / ShapeOf(inFormat))));
    layout.dot = std::max(1U, layout.pictureWidth / kWidthPerDot);
    const std::uint64_t lines = std::uint64_t{layout.pictureHeight} * layout.rows;
    if (lines > kMostLines || lines * inOptions.width * RgbImage::kBytesPerSample > kMostBytes) {
        throw CommandError(ExitStatus::Failed, inOptions.file,
                           fmt::format("a sheet of its pictures, {} x {}, would have {} lines",
                                       inFormat.width, inFormat.height, lines),
                           "ask for a smaller --width, fewer --rows or more --columns");
    }
    return layout;
}

// "37  00:00:01:12": the frame's number, and its time when it is not too long and the rate is known.
std::string LabelOf(std::uint32_t inFrame, const Ratio& inRate, const Layout& inLayout) {
    std::string number = fmt::format("{}", inFrame);
    if (!inRate.IsKnown()) return number;
    const auto perSecond = static_cast<std::uint64_t>(std::lround(std::max(1.0, inRate.Value())));
    const std::uint64_t seconds = inFrame / perSecond;
    const std::string both = fmt::format("{}  {:02}:{:02}:{:02}:{:02}", number, seconds / 3600,
                                         seconds / 60 % 60, seconds % 60, inFrame % perSecond);
    return both.size() * kLetterWidth * inLayout.dot <= inLayout.pictureWidth ? both : number;
}

// Puts one frame and its label where they belong.
void DrawCell(const VexmoraHost::Movie& inMovie, const FrameFormats& inFormats, std::uint32_t inFrame,
              const VexmoraHost::Picture& inPicture, const Layout& inLayout, std::uint32_t inCell,
              RgbImage& ioSheet) {
    constexpr std::uint32_t kMarkDots = 2;
    const VexmoraHost::VideoFormat format = inFormats.At(inPicture.frame);
    const auto [width, height] = inLayout.SizeFor(ShapeOf(format));
    const std::uint32_t left = inLayout.Left(inCell) + (inLayout.pictureWidth - width) / 2;
    const std::uint32_t top = inLayout.Top(inCell) + (inLayout.pictureHeight - height) / 2;
    // All samples count: pictures of a reduced scale leave edges ragged.
    Paste(ToRgb(inPicture, {.matrix = MatrixOf(inMovie.Info().index, format.height),
                            .isInterlaced = IsInterlaced(inMovie, inPicture),
                            .width = width,
                            .height = height}),
          left, top, ioSheet);
    if (!inPicture.damage.None()) FrameInRed(left, top, width, height, kMarkDots * inLayout.dot, ioSheet);
    DrawText(LabelOf(inFrame, FrameRate(inMovie.Info()), inLayout), inLayout.Left(inCell),
             inLayout.Top(inCell) + inLayout.pictureHeight + kMargin, inLayout.dot, ioSheet);
}

}  // namespace

ExitStatus RunSheet(const SheetOptions& inOptions) {
    const RecordingFiles recording = FindRecording(inOptions.file, inOptions.opening);
    VexmoraHost::Movie movie = OpenMovie(recording, inOptions.opening);
    const VexmoraHost::MovieInfo& info = movie.Info();
    const std::uint32_t frames = ParseFrameRange({}, inOptions.file, info.frameCount).Count();
    const std::uint32_t cells = std::min(inOptions.columns * inOptions.rows, frames);
    const FrameFormats formats(movie);
    const Layout layout = LayOut(inOptions, formats.At(0), cells);

    OutputFile file(inOptions.out, recording);
    RgbImage sheet(layout.Width(), layout.Height());
    std::fill(sheet.samples.begin(), sheet.samples.end(), kPaper);
    DamageSummary damage;
    {
        FrameProgress work(inOptions.file, cells, inOptions.opening.quiet);
        for (std::uint32_t cell = 0; cell < cells; ++cell) {
            const auto frame = static_cast<std::uint32_t>(std::uint64_t{cell} * frames / cells);
            const VexmoraHost::SharedPicture picture = movie.Frame(frame);
            DrawCell(movie, formats, frame, *picture, layout, cell, sheet);
            damage.Note(frame, *picture);
            work.Step();
        }
    }
    WritePng(sheet, file);
    file.Commit();
    if (!file.IsStandardOutput() && !inOptions.opening.quiet) {
        std::string summary =
            fmt::format("{}: {} of {} frames on {}", inOptions.file, cells, frames, inOptions.out);
        if (damage.Frames() > 0) summary += fmt::format(", {} damaged (framed in red)", damage.Frames());
        WriteOutput(OnOneLine(summary) + "\n");
        FlushOutput();
    }
    return damage.Tell(inOptions.file);
}

}  // namespace VexmoraCommand
