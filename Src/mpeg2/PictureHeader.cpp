// The picture header, the picture coding extension and the quantiser matrix extension.
#include "Vexmora/Records.h"
#include "mpeg2/Headers.h"

namespace Vexmora {

namespace {

constexpr std::uint32_t kPictureTypeD = 4;

/// full_pel vector flag, which MPEG-2 video does not use, and the f_code of one direction. False if it is 0.
bool ReadHeaderFCode(BitReader& ioReader, std::array<std::uint32_t, 2>& outFCode) {
    ioReader.SkipBits(1);
    outFCode[0] = outFCode[1] = ioReader.GetBits(3);
    return outFCode[0] != 0;
}

/// From behind vbv_delay. What follows the f_codes in the header serves nothing.
Vexmora_Status ParseHeaderFCodes(BitReader& ioReader, PictureHeader& ioPicture) {
    const std::uint32_t type = ioPicture.pictureCodingType;
    if (type < kPictureTypeI || type > kPictureTypeD) return Vexmora_Unsupported;
    const bool hasForward = type == kPictureTypeP || type == kPictureTypeB;
    if (hasForward && !ReadHeaderFCode(ioReader, ioPicture.fCode[0])) return Vexmora_Unsupported;
    if (type == kPictureTypeB && !ReadHeaderFCode(ioReader, ioPicture.fCode[1])) return Vexmora_Unsupported;
    return Vexmora_Ok;
}

bool IsValid(const PictureHeader& inPicture) {
    for (const auto& direction : inPicture.fCode) {
        for (const std::uint32_t f_code : direction) {
            if (f_code == 0 || (f_code > 9 && f_code < 15)) return false;
        }
    }
    if (inPicture.pictureStructure == 0) return false;
    return inPicture.pictureStructure == kFramePicture ||
           (inPicture.framePredFrameDct == 0 && inPicture.repeatFirstField == 0);
}

/// Its identifier is not looked at: this is the extension that comes first.
Vexmora_Status ParsePictureCodingExtension(BitReader& ioReader, DecodingParameters& ioParameters) {
    PictureHeader& picture = ioParameters.picture;
    ioReader.SkipBits(4);
    for (auto& direction : picture.fCode) {
        for (std::uint32_t& f_code : direction) f_code = ioReader.GetBits(4);
    }
    picture.intraDcPrecision = ioReader.GetBits(2);
    picture.pictureStructure = ioReader.GetBits(2);
    picture.topFieldFirst = ioReader.GetBits(1);
    picture.framePredFrameDct = ioReader.GetBits(1);
    picture.concealmentMotionVectors = ioReader.GetBits(1);
    picture.qScaleType = ioReader.GetBits(1);
    const std::uint32_t intra_vlc_format = ioReader.GetBits(1);
    picture.alternateScan = ioReader.GetBits(1);
    picture.repeatFirstField = ioReader.GetBits(1);
    picture.chroma420Type = ioReader.GetBits(1);
    if (!IsValid(picture)) return Vexmora_Unsupported;
    ioParameters.constants.intraTableB15 = intra_vlc_format != 0;
    picture.progressiveFrame = ioReader.GetBits(1);
    if (ioParameters.sequence.chromaBlocks == 2) picture.chroma420Type = picture.progressiveFrame;
    return Vexmora_Ok;
}

/// From behind the identifier.
void ParseQuantMatrixExtension(BitReader& ioReader, DecodingParameters& ioParameters) {
    SequenceHeader& sequence = ioParameters.sequence;
    QuantiserMatrices& matrices = ioParameters.matrices;
    const auto load = [&ioReader](std::uint32_t& outFlag, QuantiserMatrix& outMatrix, MatrixSource& outInUse,
                                  MatrixSource inLoaded) {
        outFlag = ioReader.GetBits(1);
        if (outFlag == 0) return;
        ReadQuantiserMatrix(ioReader, outMatrix);
        outInUse = inLoaded;
    };
    load(sequence.loadIntraMatrix, matrices.loadedIntra, matrices.intraLuma, MatrixSource::LoadedIntra);
    load(sequence.loadNonIntraMatrix, matrices.loadedNonIntra, matrices.nonIntraLuma,
         MatrixSource::LoadedNonIntra);
    load(sequence.loadChromaIntraMatrix, matrices.loadedChromaIntra, matrices.intraChroma,
         MatrixSource::LoadedChromaIntra);
    load(sequence.loadChromaNonIntraMatrix, matrices.loadedChromaNonIntra, matrices.nonIntraChroma,
         MatrixSource::LoadedChromaNonIntra);
}

/// Goes over extensions and user data to the start code behind them. Only quantiser matrices matter; the
/// start-code table tells where each of the others ends.
void ParseFurtherExtensions(BitReader& ioReader, DecodingParameters& ioParameters) {
    for (;;) {
        const std::uint32_t code = ioReader.PeekStartCode();
        if (code != kExtensionStartCode && code != kUserDataStartCode) return;
        ioReader.ConsumeStartCode();
        if (code == kExtensionStartCode && ioReader.GetBits(4) == kQuantMatrixExtensionId) {
            ParseQuantMatrixExtension(ioReader, ioParameters);
        }
    }
}

}  // namespace

Vexmora_Status ParsePictureHeader(BitReader& ioReader, DecodingParameters& ioParameters) {
    PictureHeader& picture = ioParameters.picture;
    ioReader.SkipBits(16);  // vbv_delay
    Vexmora_Status status = ParseHeaderFCodes(ioReader, picture);
    if (status != Vexmora_Ok) return status;

    picture.pictureStructure = kFramePicture;
    picture.framePredFrameDct = 1;
    ioParameters.constants.intraTableB15 = false;
    if (ioReader.PeekStartCode() == kExtensionStartCode) {
        ioReader.ConsumeStartCode();
        status = ParsePictureCodingExtension(ioReader, ioParameters);
        if (status != Vexmora_Ok) return status;
    }
    ParseFurtherExtensions(ioReader, ioParameters);
    ioParameters.constants.dcShift = static_cast<std::int32_t>(3 - picture.intraDcPrecision);
    ioParameters.constants.dcReset = 128 << picture.intraDcPrecision;
    return Vexmora_Ok;
}

}  // namespace Vexmora
