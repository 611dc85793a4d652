// The sequence header, the sequence extension and the sequence display extension.
#include <array>

#include "Vexmora/PlaneLayout.h"
#include "mpeg2/Headers.h"
#include "mpeg2/Scan.h"

namespace Vexmora {

namespace {

constexpr std::uint32_t kForbiddenAspectRatio = 0;
constexpr std::uint32_t kReservedAspectRatio = 15;
// profile_and_level_indication without its escape bit that marks streams of another coding tool set.
constexpr std::uint32_t kUnsupportedProfileAndLevel = 0x58;

// Seconds per frame before the rate extension.
double BaseFramePeriod(std::uint32_t inFrameRateCode) {
    constexpr double kOther = 1.0 / 30;
    constexpr std::array kPeriods = {kOther,   1001.0 / 24000, 1.0 / 24,       1.0 / 25, 1001.0 / 30000,
                                     1.0 / 30, 1.0 / 50,       1001.0 / 60000, 1.0 / 60};
    return inFrameRateCode < kPeriods.size() ? kPeriods[inFrameRateCode] : kOther;
}

void SetSize(SequenceHeader& ioSequence, std::uint32_t inWidth, std::uint32_t inHeight) {
    ioSequence.horizontalSize = ioSequence.displayWidth = inWidth;
    ioSequence.verticalSize = ioSequence.displayHeight = inHeight;
    ioSequence.lumaStride = PaddedPitch(inWidth);
    ioSequence.mbWidth = (inWidth + 15) >> 4;
    ioSequence.mbHeight = (inHeight + 15) >> 4;
}

// From the first of the two load flags on.
void ReadMatrices(BitReader& ioReader, QuantiserMatrices& ioMatrices) {
    MatrixLoads loads;
    if (ioReader.GetBits(1) != 0) ReadQuantiserMatrix(ioReader, loads.intra.emplace());
    if (ioReader.GetBits(1) != 0) ReadQuantiserMatrix(ioReader, loads.nonIntra.emplace());
    ioMatrices.Load(loads);
}

DecodeStatus ParseSequenceExtension(BitReader& ioReader, SequenceHeader& ioSequence) {
    if (ioReader.GetBits(4) != kSequenceExtensionId) return DecodeStatus::InvalidData;
    const std::uint32_t profile_and_level_indication = ioReader.GetBits(8);
    if ((profile_and_level_indication & 0x7F) == kUnsupportedProfileAndLevel)
        return DecodeStatus::InvalidData;
    ioSequence.progressiveSequence = ioReader.GetBits(1);
    ioSequence.chromaBlocks = 1u << ioReader.GetBits(2);
    const std::uint32_t size_extensions = ioReader.GetBits(4);  // two bits each, horizontal and vertical
    ioReader.SkipBits(12);                                      // bit_rate_extension
    const std::uint32_t marker_bit = ioReader.GetBits(1);
    if (size_extensions != 0 || marker_bit == 0) return DecodeStatus::InvalidData;
    ioReader.SkipBits(9);  // vbv_buffer_size_extension, low_delay
    ioSequence.frameRateExtensionN = ioReader.GetBits(2);
    ioSequence.frameRateExtensionD = ioReader.GetBits(5);
    return DecodeStatus::Ok;
}

void ParseSequenceDisplayExtension(BitReader& ioReader, SequenceHeader& ioSequence) {
    ioReader.SkipBits(3);                                 // video_format
    if (ioReader.GetBits(1) != 0) ioReader.SkipBits(24);  // colour_description
    ioReader.SkipBits(14 + 1);                            // display_horizontal_size, marker_bit
    ioSequence.displayHeight = ioReader.GetBits(14) & 0xFFF;
}

// Goes over extensions and user data to the start code behind them. The sequence extension is met once more.
void ParseFurtherExtensions(BitReader& ioReader, SequenceHeader& ioSequence) {
    for (;;) {
        const std::int32_t code = ioReader.NextStartCode();
        if (code == kExtensionStartCode) {
            if (ioReader.GetBits(4) == kSequenceDisplayExtensionId) {
                ParseSequenceDisplayExtension(ioReader, ioSequence);
            }
        } else if (code != kUserDataStartCode) {
            ioReader.UngetStartCode();
            return;
        }
    }
}

}  // namespace

void ReadQuantiserMatrix(BitReader& ioReader, QuantiserMatrix& outMatrix) {
    for (const std::uint8_t position : kZigzagScan) {
        outMatrix[position] = static_cast<std::uint16_t>(ioReader.GetBits(8));
    }
}

bool FindSequenceHeader(BitReader& ioReader) {
    for (;;) {
        const std::int32_t code = ioReader.NextStartCode();
        if (code == BitReader::kNoStartCode) return false;
        if (code == std::int32_t{kSequenceHeaderCode}) return true;
    }
}

DecodeStatus ParseSequenceHeader(BitReader& ioReader, SequenceParameters& outParameters) {
    SequenceParameters parameters;
    SequenceHeader& sequence = parameters.sequence;
    const std::uint32_t horizontal_size_value = ioReader.GetBits(12);
    const std::uint32_t vertical_size_value = ioReader.GetBits(12);
    SetSize(sequence, horizontal_size_value, vertical_size_value);
    sequence.aspectRatioInformation = ioReader.GetBits(4);
    const std::uint32_t frame_rate_code = ioReader.GetBits(4);
    ioReader.SkipBits(18);  // bit_rate_value
    const std::uint32_t marker_bit = ioReader.GetBits(1);
    ioReader.SkipBits(10 + 1);  // vbv_buffer_size_value, constrained_parameters_flag
    if (sequence.aspectRatioInformation == kForbiddenAspectRatio ||
        sequence.aspectRatioInformation == kReservedAspectRatio || marker_bit == 0) {
        return DecodeStatus::InvalidData;
    }
    ReadMatrices(ioReader, parameters.matrices);

    if (ioReader.PeekStartCode() != kExtensionStartCode) return DecodeStatus::InvalidData;  // MPEG-1 video
    ioReader.SkipBits(32);
    const DecodeStatus status = ParseSequenceExtension(ioReader, sequence);
    if (status != DecodeStatus::Ok) return status;
    sequence.framePeriod = BaseFramePeriod(frame_rate_code) * (sequence.frameRateExtensionD + 1) /
                           (sequence.frameRateExtensionN + 1);
    ParseFurtherExtensions(ioReader, sequence);
    outParameters = parameters;
    return DecodeStatus::Ok;
}

}  // namespace Vexmora
