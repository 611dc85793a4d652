// Sequence headers and their extensions: taken apart, changed by quantiser matrix extensions, and put
// together again (ISO/IEC 13818-2, 6.2.2 and 6.2.3.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sources/CodedVideo.h"

namespace VexmoraHost {

/// The bytes of a header behind its start code, as many as there are; what is missing reads as 0.
class HeaderBits {
  public:
    explicit HeaderBits(std::span<const std::uint8_t> inBytes) : mBytes(inBytes) {}

    bool Has(std::size_t inBits) const { return mAt + inBits <= 8 * mBytes.size(); }
    /// The next inCount bits, 32 at most.
    std::uint32_t Get(unsigned inCount);
    void Skip(std::size_t inCount) { mAt += inCount; }

  private:
    std::span<const std::uint8_t> mBytes;
    std::size_t mAt = 0;
};

/// A sequence header with what is in force since.
struct SequenceSyntax {
    /// 64 weights as they are transmitted, in zigzag order.
    using Matrix = std::array<std::uint8_t, 64>;

    /// sequence_header() behind its start code, up to the load flags, which are 0 here.
    std::array<std::uint8_t, 8> header{};
    std::optional<Matrix> intra;
    std::optional<Matrix> nonIntra;
    /// With their start codes; empty without.
    std::vector<std::uint8_t> extension;
    std::vector<std::uint8_t> displayExtension;

    bool IsMpeg2() const { return !extension.empty(); }
    unsigned FrameRateCode() const { return header[3] & 15u; }
    void SetFrameRateCode(unsigned inCode);
    /// Whether a decoder can do with it: sizes and an aspect ratio, marker bits, no size of 4096 or more.
    bool IsUsable() const;
    /// All of it as one stream of headers, and what they say.
    SequenceParameterSet Assemble() const;
};

/// Each takes the bytes behind a start code.
std::optional<SequenceSyntax> ParseSequenceHeader(std::span<const std::uint8_t> inBytes);
void ParseSequenceExtension(std::span<const std::uint8_t> inBytes, SequenceSyntax& ioSequence);
void ParseSequenceDisplayExtension(std::span<const std::uint8_t> inBytes, SequenceSyntax& ioSequence);
/// A matrix that is cut off is not loaded. Those of chroma are ignored: 4:2:0 has none (6.3.11).
void LoadMatrices(std::span<const std::uint8_t> inQuantMatrixExtension, SequenceSyntax& ioSequence);

}  // namespace VexmoraHost
