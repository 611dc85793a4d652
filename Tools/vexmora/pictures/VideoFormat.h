// How a stream's pictures are to be shown: shape of a sample, frame rate, field order, colours.
#pragma once

#include <cstdint>
#include <string>

#include "VexmoraHost/Movie.h"

namespace VexmoraCommand {

/// A ratio of two whole numbers, reduced; 0 over 0 when not known.
struct Ratio {
    std::uint64_t numerator = 0;
    std::uint64_t denominator = 0;

    bool IsKnown() const { return denominator != 0; }
    double Value() const { return static_cast<double>(numerator) / static_cast<double>(denominator); }
    friend bool operator==(const Ratio&, const Ratio&) = default;
};

/// Which field of a frame is the first in time.
enum class FieldOrder { Progressive, TopFirst, BottomFirst, Mixed };
FieldOrder FieldOrderOf(const Vexmora::IndexHeader& inHeader);

/// The format at the start of a movie.
VexmoraHost::VideoFormat FormatOf(const VexmoraHost::MovieInfo& inInfo);

/// Width over height of the whole picture (ISO/IEC 13818-2, table 6-3); unknown where the code is reserved.
Ratio DisplayAspect(const VexmoraHost::VideoFormat& inFormat);

/// Width over height of a decoded sample at inScale.
Ratio SampleAspect(const VexmoraHost::VideoFormat& inFormat, VexmoraHost::Scale inScale);

/// Frames per second, exactly: the standard's rates are whole multiples of 1/1001 divided by up to 32.
/// Unknown where the stream does not tell.
Ratio FrameRate(const VexmoraHost::MovieInfo& inInfo);
Ratio FrameRate(const VexmoraHost::VideoFormat& inFormat);

/// Frames per second after pulldown was detected: the nominal ones where there is none, or where they are
/// others than at the start, of which the index tells.
Ratio EffectiveRate(const VexmoraHost::MovieInfo& inInfo, const VexmoraHost::VideoFormat& inFormat);

/// Width in square samples of a picture that is inWidth samples wide: its lines stay as they are. A sample
/// that is more than eight times as long one way as the other is a damaged header's and left as it is.
std::uint32_t ViewingWidth(std::uint32_t inWidth, const Ratio& inSampleAspect);

/// Whether the lines of inPicture, one of inMovie's, are of two fields: at quarter size each is of both.
bool IsInterlaced(const VexmoraHost::Movie& inMovie, const VexmoraHost::Picture& inPicture);

/// matrix_coefficients (ISO/IEC 13818-2, table 6-9): as the stream says, or, where it does not, what is usual
/// for its size, inHeight coded lines.
enum class ColourMatrix { Bt601, Bt709 };
ColourMatrix MatrixOf(const Vexmora::IndexHeader& inHeader, std::uint32_t inHeight);

}  // namespace VexmoraCommand
