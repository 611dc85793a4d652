// What a host may ask of an opened source beside its pictures.
#include "Decoder/Decoder.h"

namespace Vexmora {
namespace {

// Display aspect ratios by aspect_ratio_information (ISO/IEC 13818-2, table 6-3); 1 is square samples.
constexpr std::uint32_t kSquareSamples = 1;
constexpr std::uint32_t kAspect4To3 = 2;
constexpr std::uint32_t kAspect16To9 = 3;
constexpr std::uint32_t kAspect221To100 = 4;

// Leaves outRatio alone for reserved codes.
void SetPixelAspectRatio(const SequenceHeader& inSequence, double& outRatio) {
    const double width = inSequence.horizontalSize;
    const double height = inSequence.verticalSize;
    switch (inSequence.aspectRatioInformation) {
        case kSquareSamples:
            outRatio = 1.0;
            break;
        case kAspect4To3:
            outRatio = height * 4.0 / 3.0 / width;
            break;
        case kAspect16To9:
            outRatio = height * 16.0 / 9.0 / width;
            break;
        case kAspect221To100:
            outRatio = height * 2.21 / width;
            break;
        default:
            break;
    }
}

}  // namespace

Vexmora_Status Decoder::GetFileInfo(FileInfo& outInfo) {
    if (const Vexmora_Status status = EnsureSequenceHeader(); status != Vexmora_Ok) return status;
    const SequenceHeader& sequence = mParameters.sequence;
    const IndexHeader& header = mIndex.header;
    const bool knowsFirstPicture = !mIndex.records.empty() && IsValid(mIndex.records.front());
    outInfo.width = sequence.horizontalSize;
    outInfo.height = sequence.verticalSize;
    outInfo.frameCount = header.lastFrame - header.firstFrame + 1;
    outInfo.pitch = sequence.lumaStride;
    outInfo.progressive = knowsFirstPicture ? (mIndex.records.front().flags & kProgressiveFrameBit) != 0
                                            : sequence.progressiveSequence != 0;
    SetPixelAspectRatio(sequence, outInfo.pixelAspectRatio);
    outInfo.displayWidth = sequence.displayWidth;
    outInfo.displayHeight = sequence.displayHeight;
    outInfo.framePeriod = sequence.framePeriod;
    outInfo.effectiveFrameRate = header.effectiveFrameRate;
    return Vexmora_Ok;
}

Vexmora_Status Decoder::IndexFile(float& outProgress, bool inIndexFlag) {
    return mIndexing.Advance(mPath, mServices.indexLocation, inIndexFlag, outProgress);
}

PlaneSizes Decoder::GetFrameSizes() {
    static_cast<void>(EnsureSequenceHeader());  // without one the sizes are 0
    mPlanes = mParameters.sequence;
    return PlaneSizesOf(mPlanes);
}

}  // namespace Vexmora
