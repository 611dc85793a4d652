// What the headers of a video sequence and of a picture say, in records that every later stage reads.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "mpeg_system/VideoSyntax.h"

namespace Vexmora {

/// SequenceHeader::chromaBlocks of the one format that is decoded, 4:2:0.
inline constexpr std::uint32_t kChromaBlocks420 = 2;

/// From the sequence header and its extensions (ISO/IEC 13818-2, 6.3.3 to 6.3.6).
struct SequenceHeader {
    /// 0 to 4095 samples; larger pictures are not supported.
    std::uint32_t horizontalSize = 0;
    /// horizontalSize rounded up to a multiple of 128.
    std::uint32_t lumaStride = 0;
    /// 0 to 4095 lines.
    std::uint32_t verticalSize = 0;
    std::uint32_t aspectRatioInformation = 0;
    /// Seconds per frame.
    double framePeriod = 0;
    std::uint32_t mbWidth = 0;
    std::uint32_t mbHeight = 0;
    std::uint32_t progressiveSequence = 0;
    /// 2 for 4:2:0, 4 for 4:2:2, 8 for 4:4:4, 1 for the reserved format.
    std::uint32_t chromaBlocks = 0;
    std::uint32_t frameRateExtensionN = 0;
    std::uint32_t frameRateExtensionD = 0;
    std::uint32_t displayWidth = 0;
    /// verticalSize, unless a sequence display extension says otherwise.
    std::uint32_t displayHeight = 0;

    friend bool operator==(const SequenceHeader&, const SequenceHeader&) = default;
};

/// From the picture header and the picture coding extension (6.3.9 and 6.3.10).
struct PictureHeader {
    std::uint32_t temporalReference = 0;
    /// kPictureTypeI and so on; 4 is a D picture.
    std::uint32_t pictureCodingType = 0;
    /// [forward, backward][horizontal, vertical]
    std::array<std::array<std::uint32_t, 2>, 2> fCode{};
    /// 0 to 3.
    std::uint32_t intraDcPrecision = 0;
    std::uint32_t pictureStructure = 0;
    std::uint32_t topFieldFirst = 0;
    std::uint32_t framePredFrameDct = 0;
    std::uint32_t concealmentMotionVectors = 0;
    std::uint32_t qScaleType = 0;
    std::uint32_t alternateScan = 0;
    std::uint32_t repeatFirstField = 0;
    std::uint32_t progressiveFrame = 0;
};

/// What the slices of a picture need beside its header.
struct PictureConstants {
    /// The intra DC multiplier, 8, 4, 2 or 1, as a shift.
    std::int32_t dcShift = 3;
    /// Intra DC predictor at the beginning of a slice.
    std::int32_t dcReset = 128;
    /// Intra AC coefficients are coded with table B.15 of the standard, not B.14.
    bool intraTableB15 = false;
};

/// 64 weights in raster order.
using QuantiserMatrix = std::array<std::uint16_t, 64>;

/// The weights of a block: one of the loaded matrices, the default of the standard, or 16 for all
/// coefficients.
enum class MatrixSource : std::uint8_t {
    Flat,
    DefaultIntra,
    LoadedIntra,
    LoadedNonIntra,
    LoadedChromaIntra,
    LoadedChromaNonIntra,
};

/// The matrices that the quantiser matrix extensions of a picture load (6.2.3.2). Those of chroma come last:
/// a luma matrix of a later extension takes their place.
struct MatrixLoads {
    bool IsNone() const { return !intra && !nonIntra && !chromaIntra && !chromaNonIntra; }

    std::optional<QuantiserMatrix> intra;
    std::optional<QuantiserMatrix> nonIntra;
    std::optional<QuantiserMatrix> chromaIntra;
    std::optional<QuantiserMatrix> chromaNonIntra;
};

/// The matrices that were transmitted, and which of them are in use.
struct QuantiserMatrices {
    QuantiserMatrix loadedIntra{};
    QuantiserMatrix loadedNonIntra{};
    QuantiserMatrix loadedChromaIntra{};
    QuantiserMatrix loadedChromaNonIntra{};

    MatrixSource intraLuma = MatrixSource::DefaultIntra;
    MatrixSource intraChroma = MatrixSource::DefaultIntra;
    MatrixSource nonIntraLuma = MatrixSource::Flat;
    MatrixSource nonIntraChroma = MatrixSource::Flat;

    /// The matrix that inSource names, null for MatrixSource::Flat. It lives as long as this record.
    const QuantiserMatrix* Find(MatrixSource inSource) const;
    /// A matrix of luma is that of 4:2:0 chroma, too (6.3.11).
    void Load(const MatrixLoads& inLoads);

    friend bool operator==(const QuantiserMatrices&, const QuantiserMatrices&) = default;
};

/// What stays in force from picture to picture, in coded order: the sequence header last read, with its
/// extensions, and the matrices loaded since.
struct SequenceParameters {
    SequenceHeader sequence;
    QuantiserMatrices matrices;

    friend bool operator==(const SequenceParameters&, const SequenceParameters&) = default;
};

/// What a picture says of itself.
struct PictureParameters {
    PictureHeader picture;
    PictureConstants constants;
    MatrixLoads loads;
};

/// Everything that slices are decoded with; they only read it.
struct DecodingParameters : SequenceParameters, PictureParameters {
    /// The picture is the second field of its frame.
    bool secondField = false;
};

}  // namespace Vexmora
