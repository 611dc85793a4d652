// Headers and slices of a picture.
#include "Syntax/RandomPicture.h"

#include "Syntax/RandomMacroblock.h"
#include "mpeg2/Scan.h"

namespace Vexmora::Test {
namespace {

constexpr unsigned kTallPicture = 2800;

Bytes QuantMatrixExtension(const WeightsInUse& inLoaded) {
    if (!inLoaded.intra && !inLoaded.nonIntra) return {};
    BitWriter bits;
    bits.Put(32, 0x1B5).Put(4, 3);
    PutWeights(bits, inLoaded.intra);
    PutWeights(bits, inLoaded.nonIntra);
    return bits.Put(2, 0).Take();  // no matrices for chrominance
}

class SliceWriter {
  public:
    SliceWriter(const MacroblockContext& inContext) : mContext(inContext) {}

    Bytes WriteAll() {
        Bytes bytes;
        const int columns = mContext.width / 16;
        for (int row = 0; row < mContext.height / 16; ++row) {
            int begin = 0;
            while (begin < columns) {
                int end = columns;
                if (mContext.picture.hasSeveralSlicesInRow && mContext.random.OneIn(3)) {
                    end = mContext.random.Between(begin + 1, columns);
                }
                if (begin != 0) mContext.features.Count("slice begins in a row");
                const Bytes slice = WriteSlice(row, begin, end);
                bytes.insert(bytes.end(), slice.begin(), slice.end());
                begin = end;
            }
        }
        return bytes;
    }

  private:
    // The macroblocks of a row from inBegin up to inEnd; the first and the last one are coded.
    Bytes WriteSlice(int inRow, int inBegin, int inEnd) {
        SyntaxWriter writer(mContext.features);
        WriteHeader(writer, static_cast<unsigned>(inRow));
        RandomMacroblocks macroblocks(mContext, writer, mQuantiserScaleCode, inRow);
        int previous = -1;
        for (int column = inBegin; column < inEnd; ++column) {
            if (column != inBegin) column = Skip(macroblocks, column, inEnd - 1);
            writer.PutAddressIncrement(column - previous);
            macroblocks.Write(column);
            previous = column;
        }
        return writer.Take();
    }

    void WriteHeader(SyntaxWriter& ioWriter, unsigned inRow) {
        const PictureSyntax& picture = mContext.picture;
        Random& random = mContext.random;
        const bool isTall = mContext.isTall;
        ioWriter.Put(24, 1).Put(8, isTall ? inRow % 128 + 1 : inRow + 1);
        if (isTall) ioWriter.Put(3, inRow / 128);  // slice_vertical_position_extension
        if (isTall) mContext.features.Count("slice_vertical_position_extension", inRow / 128);
        mQuantiserScaleCode = RandomQuantiserScaleCode(mContext);
        ioWriter.Put(5, mQuantiserScaleCode);
        if (random.OneIn(4)) {
            const bool intra_slice = picture.picture_coding_type == kPictureTypeI && random.OneIn(2);
            ioWriter.Put(1, 1).Put(1, intra_slice).Put(7, 0);  // intra_slice_flag, intra_slice, reserved_bits
            mContext.features.Count("intra_slice", intra_slice);
            while (random.OneIn(2)) {
                ioWriter.Put(1, 1).Put(8, static_cast<unsigned>(random.Between(0, 255)));
                mContext.features.Count("extra_information_slice");
            }
        }
        ioWriter.Put(1, 0);  // extra_bit_slice
    }

    // Passes over some macroblocks, at most up to inLast; returns where coding goes on.
    int Skip(RandomMacroblocks& ioMacroblocks, int inColumn, int inLast) {
        const PictureSyntax& picture = mContext.picture;
        Random& random = mContext.random;
        if (inColumn >= inLast || !random.OneIn(picture.skipsOneIn)) return inColumn;
        const int end = picture.skipsFar ? random.Between(inColumn + 1, inLast) : inColumn + 1;
        int column = inColumn;
        while (column < end && ioMacroblocks.Skip(column)) ++column;
        return column;
    }

    const MacroblockContext& mContext;
    unsigned mQuantiserScaleCode = 0;
};

}  // namespace

void PutWeights(BitWriter& ioBits, const std::optional<Weights>& inWeights) {
    ioBits.Put(1, inWeights.has_value());
    if (!inWeights) return;
    for (const std::uint8_t position : kZigzagScan) ioBits.Put(8, (*inWeights)[position]);
}

Bytes WriteRandomPicture(const Sequence& inSequence, const PictureSyntax& inPicture,
                         const WeightsInUse& inWeights, Random& ioRandom, Features& ioFeatures) {
    const bool isFrame = inPicture.picture_structure == 3;
    const MacroblockContext context{
        .picture = inPicture,
        .weights = inWeights,
        .random = ioRandom,
        .features = ioFeatures,
        .width = static_cast<int>(inSequence.width),
        .height = static_cast<int>(isFrame ? inSequence.height : inSequence.height / 2),
        .isTall = inSequence.height > kTallPicture,
        .where = isFrame                   ? "frame"
                 : inPicture.isSecondField ? "second field"
                                           : "first field"};
    ioFeatures.Count("intra_dc_precision", inPicture.intra_dc_precision);
    return Join({PictureHeader(inPicture.temporal_reference, inPicture.picture_coding_type),
                 PictureCodingExtension(inPicture), QuantMatrixExtension(inPicture.loaded),
                 SliceWriter(context).WriteAll()});
}

}  // namespace Vexmora::Test
