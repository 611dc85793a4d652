// vexmora frame: pictures as files.
#include <fmt/core.h>

#include <cctype>

#include "commands/Commands.h"
#include "files/OutputFile.h"
#include "files/StandardOutput.h"
#include "movies/FrameFormats.h"
#include "movies/FrameNumbers.h"
#include "pictures/PlanarSamples.h"
#include "pictures/Png.h"
#include "reports/DamageSummary.h"
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

namespace {

using VexmoraHost::Picture;

enum class Form { Png, Planes };

// The names of the files to write: a text in which %d, or %5d or %05d, stands for the frame number.
class NamePattern {
  public:
    explicit NamePattern(const std::string& inText) : mBefore(inText) {
        for (std::size_t percent = inText.find('%'); percent != std::string::npos;
             percent = inText.find('%', percent + 1)) {
            std::size_t end = percent + 1;
            while (end < inText.size() && std::isdigit(static_cast<unsigned char>(inText[end]))) ++end;
            const std::string digits = inText.substr(percent + 1, end - percent - 1);
            if (end == inText.size() || inText[end] != 'd' || digits.size() > 2) continue;
            mHasNumber = true;
            mBefore = inText.substr(0, percent);
            mAfter = inText.substr(end + 1);
            mFill = digits.starts_with('0') ? '0' : ' ';
            mWidth = digits.empty() ? 0 : std::stoi(digits);
            return;
        }
    }

    bool HasNumber() const { return mHasNumber; }
    std::string NameFor(std::uint32_t inFrame) const {
        if (!mHasNumber) return mBefore;
        const std::string number =
            mFill == '0' ? fmt::format("{:0{}}", inFrame, mWidth) : fmt::format("{:{}}", inFrame, mWidth);
        return mBefore + number + mAfter;
    }

  private:
    std::string mBefore;
    std::string mAfter;
    bool mHasNumber = false;
    char mFill = ' ';
    int mWidth = 0;
};

Form FormOf(const std::string& inOut) {
    if (inOut == "-" || inOut.ends_with(".png")) return Form::Png;
    if (inOut.ends_with(".yuv")) return Form::Planes;
    throw CommandError(ExitStatus::Usage, inOut, "it is not clear what to write",
                       "a name ends in .png for a picture, in .yuv for raw planes");
}

// Writes pictures of one movie.
class PictureWriter {
  public:
    PictureWriter(VexmoraHost::Movie& ioMovie, const RecordingFiles& inRecording,
                  const FrameOptions& inOptions)
        : mMovie(ioMovie),
          mRecording(inRecording),
          mFormats(ioMovie),
          mOptions(inOptions),
          mForm(FormOf(inOptions.out)) {}

    void Write(std::uint32_t inFrame, const std::string& inName) {
        const VexmoraHost::SharedPicture picture = mMovie.Frame(inFrame, mOptions.scale);
        OutputFile file(inName, mRecording);
        if (mForm == Form::Planes) {
            ForEachRow(*picture,
                       [&](const std::uint8_t* inRow, std::uint32_t inBytes) { file.Write(inRow, inBytes); });
        } else {
            WritePng(ViewOf(*picture), file);
        }
        file.Commit();
        mDamage.Note(inFrame, *picture);
        if (inName != "-") mNames += OnOneLine(inName) + "\n";
    }
    // Of the files written, a line each.
    const std::string& Names() const { return mNames; }
    const DamageSummary& Damage() const { return mDamage; }

  private:
    RgbImage ViewOf(const Picture& inPicture) const {
        const VexmoraHost::VideoFormat format = mFormats.At(inPicture.frame);
        const std::uint32_t width = inPicture.luma.width;
        const Ratio aspect = SampleAspect(format, mOptions.scale);
        return ToRgb(inPicture, {.matrix = MatrixOf(mMovie.Info().index, format.height),
                                 .isInterlaced = IsInterlaced(mMovie, inPicture),
                                 .width = mOptions.codedSize ? width : ViewingWidth(width, aspect),
                                 .height = inPicture.luma.height});
    }

    VexmoraHost::Movie& mMovie;
    const RecordingFiles& mRecording;
    const FrameFormats mFormats;
    const FrameOptions& mOptions;
    const Form mForm;
    std::string mNames;
    DamageSummary mDamage;
};

}  // namespace

ExitStatus RunFrame(const FrameOptions& inOptions) {
    const RecordingFiles recording = FindRecording(inOptions.file, inOptions.opening);
    VexmoraHost::Movie movie = OpenMovie(recording, inOptions.opening);
    const auto frames = ParseFrameList(inOptions.frames, inOptions.file, movie.Info().frameCount,
                                       TimesOf(movie, recording, inOptions.opening.quiet));
    const NamePattern pattern(inOptions.out);
    if (frames.size() > 1 && !pattern.HasNumber()) {
        throw CommandError(ExitStatus::Usage, inOptions.out, "several pictures do not fit into one file",
                           "put %d where the frame number is to be, or export them");
    }
    PictureWriter writer(movie, recording, inOptions);
    {
        FrameProgress work(inOptions.file, frames.size(), inOptions.opening.quiet);
        for (const std::uint32_t frame : frames) {
            writer.Write(frame, pattern.NameFor(frame));
            work.Step();
        }
    }
    if (!inOptions.opening.quiet) WriteOutput(writer.Names());
    FlushOutput();
    return writer.Damage().Tell(inOptions.file);
}

}  // namespace VexmoraCommand
