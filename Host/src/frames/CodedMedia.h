// Where the coded pictures of a movie come from, as those see it that decode them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "Vexmora/Vexmora.h"
#include "frames/PictureLayout.h"

namespace VexmoraHost {

/// In place of the number of a record that is not there.
inline constexpr std::int32_t kNoRecord = 0x7FFFFFFF;

/// The planes of what a picture is predicted from; null planes where there is nothing.
struct ReferencePlanes {
    Vexmora::FramePlanes past{};
    Vexmora::FramePlanes future{};
};

/// One thread's way from records to pictures.
class PictureReader {
  public:
    virtual ~PictureReader() = default;

    /// Reads the picture of a record and decodes it, see Vexmora_GetFrame for the planes and the answer. For
    /// field pictures Vexmora_NoSuchFrame says that a part of them could not be decoded.
    /// Never throws for bad data; throws std::bad_alloc.
    virtual Vexmora_Status Decode(std::int32_t inRecord, const ReferencePlanes& inReferences,
                                  const Vexmora::FramePlanes& outPicture, const DecodeModes& inModes) = 0;
};

/// What sizes the planes of a picture have.
struct PictureFormat {
    Vexmora::FileInfo info{};
    PlaneBytes least;
};

/// A file that the library reads by itself, or a recording that the host takes apart. Any number of threads
/// may use it at once.
class CodedMedia {
  public:
    virtual ~CodedMedia() = default;

    /// For one more thread; null when there is none to be had. Throws std::bad_alloc.
    virtual std::unique_ptr<PictureReader> OpenReader() const = 0;
    /// At least one.
    virtual std::span<const PictureFormat> Formats() const = 0;
    /// Which of the formats a record's picture has.
    virtual std::size_t FormatOf(std::int32_t inRecord) const = 0;
    /// Whether a record's picture is made of field pictures. The library makes no macroblock of those red,
    /// but leaves one that fails with some of its blocks written.
    virtual bool IsOfFields(std::int32_t inRecord) const = 0;
    /// The record of the anchor from which the second field of an I picture is predicted; kNoRecord for any
    /// other picture. Throws std::bad_alloc.
    virtual std::int32_t PastOfIntra(std::int32_t inRecord) const = 0;
};

}  // namespace VexmoraHost
