// The picture header, the picture coding extension and the quantiser matrix extension.
#include "Vexmora/Records.h"
#include "mpeg2/Headers.h"

namespace Vexmora {

namespace {

constexpr std::uint32_t kPictureTypeD = 4;

// full_pel vector flag, which MPEG-2 video does not use, and the f_code of one direction, for which the
// coding extension has others. False if it is 0.
bool PassHeaderFCode(BitReader& ioReader) {
    ioReader.SkipBits(1);
    return ioReader.GetBits(3) != 0;
}

// From behind vbv_delay. What follows the f_codes in the header serves nothing.
DecodeStatus ParseHeaderFCodes(BitReader& ioReader, const PictureHeader& inPicture) {
    const std::uint32_t type = inPicture.pictureCodingType;
    if (type < kPictureTypeI || type > kPictureTypeD) return DecodeStatus::InvalidData;
    const bool hasForward = type == kPictureTypeP || type == kPictureTypeB;
    if (hasForward && !PassHeaderFCode(ioReader)) return DecodeStatus::InvalidData;
    if (type == kPictureTypeB && !PassHeaderFCode(ioReader)) return DecodeStatus::InvalidData;
    return DecodeStatus::Ok;
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

DecodeStatus ParsePictureCodingExtension(BitReader& ioReader, PictureParameters& ioParameters) {
    if (ioReader.GetBits(4) != kPictureCodingExtensionId) return DecodeStatus::InvalidData;
    PictureHeader picture = ioParameters.picture;
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
    ioReader.SkipBits(1);  // chroma_420_type
    picture.progressiveFrame = ioReader.GetBits(1);
    if (!IsValid(picture)) return DecodeStatus::InvalidData;
    ioParameters.picture = picture;
    ioParameters.constants = {
        .dcShift = static_cast<std::int32_t>(3 - picture.intraDcPrecision),
        .dcReset = 128 << picture.intraDcPrecision,
        .intraTableB15 = intra_vlc_format != 0,
    };
    return DecodeStatus::Ok;
}

// From behind the identifier.
void ParseQuantMatrixExtension(BitReader& ioReader, MatrixLoads& ioLoads) {
    const auto load = [&ioReader](std::optional<QuantiserMatrix>& outMatrix) {
        if (ioReader.GetBits(1) == 0) return false;
        ReadQuantiserMatrix(ioReader, outMatrix.emplace());
        return true;
    };
    if (load(ioLoads.intra)) ioLoads.chromaIntra.reset();
    if (load(ioLoads.nonIntra)) ioLoads.chromaNonIntra.reset();
    load(ioLoads.chromaIntra);
    load(ioLoads.chromaNonIntra);
}

// Goes over extensions and user data to the start code behind them. Only quantiser matrices matter; the
// start-code table tells where each of the others ends.
void ParseFurtherExtensions(BitReader& ioReader, MatrixLoads& outLoads) {
    for (;;) {
        const std::uint32_t code = ioReader.PeekStartCode();
        if (code != kExtensionStartCode && code != kUserDataStartCode) return;
        ioReader.ConsumeStartCode();
        if (code == kExtensionStartCode && ioReader.GetBits(4) == kQuantMatrixExtensionId) {
            ParseQuantMatrixExtension(ioReader, outLoads);
        }
    }
}

}  // namespace

void ReadPictureIdentity(BitReader& ioReader, PictureHeader& outPicture) {
    outPicture.temporalReference = ioReader.GetBits(10);
    outPicture.pictureCodingType = ioReader.GetBits(3);
}

DecodeStatus ParsePictureHeader(BitReader& ioReader, PictureParameters& ioParameters) {
    ioReader.SkipBits(16);  // vbv_delay
    DecodeStatus status = ParseHeaderFCodes(ioReader, ioParameters.picture);
    if (status != DecodeStatus::Ok) return status;
    if (ioReader.PeekStartCode() != kExtensionStartCode) return DecodeStatus::InvalidData;
    ioReader.ConsumeStartCode();
    status = ParsePictureCodingExtension(ioReader, ioParameters);
    if (status != DecodeStatus::Ok) return status;
    ioParameters.loads = {};
    ParseFurtherExtensions(ioReader, ioParameters.loads);
    return DecodeStatus::Ok;
}

}  // namespace Vexmora
