// Looking up spans of frames with one format.
#include "movies/FrameFormats.h"

#include <algorithm>
#include <tuple>

#include "pictures/VideoFormat.h"

namespace VexmoraCommand {

namespace {

auto ComparableOf(const VexmoraHost::VideoFormat& inFormat) {
    return std::tuple(inFormat.width, inFormat.height, inFormat.displayWidth, inFormat.displayHeight,
                      inFormat.aspectRatioCode, inFormat.frameRateNumerator, inFormat.frameRateDenominator);
}

}  // namespace

FrameFormats::FrameFormats(VexmoraHost::Movie& ioMovie)
    : mDetails(ioMovie.KnownDetails()), mFirst(FormatOf(ioMovie.Info())) {}

VexmoraHost::VideoFormat FrameFormats::At(std::uint32_t inFrame) const {
    if (mDetails == nullptr) return mFirst;
    const auto behind =
        std::ranges::upper_bound(mDetails->spans, inFrame, {}, &VexmoraHost::FormatSpan::firstFrame);
    return behind == mDetails->spans.begin() ? mFirst : mDetails->formats.at((behind - 1)->format);
}

std::optional<std::uint32_t> FrameFormats::ChangeIn(const FrameRange& inRange) const {
    if (mDetails == nullptr) return {};
    const auto shape = ComparableOf(At(inRange.first));
    for (const VexmoraHost::FormatSpan& span : mDetails->spans) {
        if (span.firstFrame > inRange.first && span.firstFrame <= inRange.last &&
            ComparableOf(mDetails->formats.at(span.format)) != shape)
            return span.firstFrame;
    }
    return {};
}

}  // namespace VexmoraCommand
