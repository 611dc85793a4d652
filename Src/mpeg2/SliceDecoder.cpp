// Slices (ISO/IEC 13818-2, 6.2.4), at all scales.
#include "mpeg2/SliceDecoder.h"

#include <algorithm>

#include "mpeg2/MacroblockDecoder.h"

namespace Vexmora {
namespace {

// The height from which slices name their row with more bits.
constexpr std::uint32_t kTallPicture = 2800;
// No macroblock begins with as many zero bits: a start code follows.
constexpr unsigned kZeroBitsBehindSlice = 23;

struct SliceHeader {
    std::int32_t row = 0;
    std::uint32_t quantiserScaleCode = 0;
};

DecodeStatus ParseSliceHeader(const PictureContext& inPicture, BitReader& ioReader, std::uint32_t inStartCode,
                              SliceHeader& outHeader) {
    const std::uint32_t slice_vertical_position = inStartCode & 0xFF;
    outHeader.row = static_cast<std::int32_t>(slice_vertical_position) - 1;
    if (inPicture.parameters.sequence.verticalSize > kTallPicture) {
        const std::uint32_t slice_vertical_position_extension = ioReader.GetBits(3);
        outHeader.row += static_cast<std::int32_t>(slice_vertical_position_extension << 7);
    }
    outHeader.quantiserScaleCode = ioReader.GetBits(5);
    if (outHeader.quantiserScaleCode == 0) return DecodeStatus::InvalidData;
    if (ioReader.ShowBits(1) != 0)
        ioReader.SkipBits(1 + 1 + 7);                       // intra_slice_flag, intra_slice, reserved_bits
    while (ioReader.GetBits(1) != 0) ioReader.SkipBits(8);  // extra_information_slice
    return DecodeStatus::Ok;
}

template <DecodeScale kScale>
DecodeStatus DecodeMacroblocks(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                               BitReader& ioReader, const SliceHeader& inHeader, SliceReach inReach) {
    const std::int32_t pictureEnd = inPicture.MacroblockRows();
    const std::int32_t endRow =
        inReach == SliceReach::Row ? std::min(inHeader.row + 1, pictureEnd) : pictureEnd;
    MacroblockDecoder<kScale> decoder(inPicture, inQuantisation, ioReader, {inHeader.row, endRow},
                                      inHeader.quantiserScaleCode);
    do {
        const DecodeStatus status = decoder.DecodeMacroblock();
        if (status != DecodeStatus::Ok) {
            if (inPicture.IsFrame()) decoder.PaintError();
            return status;
        }
    } while (ioReader.BytesLeft() != 0 && ioReader.ShowBits(kZeroBitsBehindSlice) != 0);
    return DecodeStatus::Ok;
}

DecodeStatus DecodeMacroblocks(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                               BitReader& ioReader, const SliceHeader& inHeader, SliceReach inReach) {
    switch (inPicture.scale) {
        case DecodeScale::Full:
            return DecodeMacroblocks<DecodeScale::Full>(inPicture, inQuantisation, ioReader, inHeader,
                                                        inReach);
        case DecodeScale::HalfWidth:
            return DecodeMacroblocks<DecodeScale::HalfWidth>(inPicture, inQuantisation, ioReader, inHeader,
                                                             inReach);
        case DecodeScale::Quarter:
            return DecodeMacroblocks<DecodeScale::Quarter>(inPicture, inQuantisation, ioReader, inHeader,
                                                           inReach);
    }
    return DecodeStatus::InvalidData;
}

}  // namespace

DecodeStatus DecodeSlice(const PictureContext& inPicture, const QuantisationTables& inQuantisation,
                         BitReader& ioReader, std::uint32_t inStartCode, SliceReach inReach) {
    SliceHeader header;
    DecodeStatus status = ParseSliceHeader(inPicture, ioReader, inStartCode, header);
    if (status == DecodeStatus::Ok && inPicture.parameters.sequence.chromaBlocks == kChromaBlocks420) {
        status = DecodeMacroblocks(inPicture, inQuantisation, ioReader, header, inReach);
    }
    ioReader.PeekStartCode();
    return status;
}

}  // namespace Vexmora
