// The bits of sequence headers.
#include "sources/SequenceSyntax.h"

#include <algorithm>

#include "sources/VideoStartCodes.h"

namespace VexmoraHost {
namespace {

constexpr std::array<std::uint8_t, 4> kHeaderStart{0, 0, 1, kSequenceHeaderCode};
constexpr std::array<std::uint8_t, 4> kExtensionStart{0, 0, 1, kExtensionStartCode};
constexpr std::size_t kHeaderBits = 62;  // in front of the load flags
constexpr std::size_t kMatrixBits = 8 * 64;
constexpr std::size_t kExtensionSize = 6;
constexpr std::size_t kDisplayExtensionSize = 5;
constexpr std::size_t kColourDescriptionSize = 3;

// One load flag, and the matrix if it is set.
std::optional<SequenceSyntax::Matrix> ReadMatrix(HeaderBits& ioBits) {
    if (ioBits.Get(1) == 0) return std::nullopt;
    if (!ioBits.Has(kMatrixBits)) {
        ioBits.Skip(kMatrixBits);
        return std::nullopt;
    }
    SequenceSyntax::Matrix matrix;
    for (std::uint8_t& weight : matrix) weight = static_cast<std::uint8_t>(ioBits.Get(8));
    return matrix;
}

void Append(std::span<const std::uint8_t> inBytes, std::vector<std::uint8_t>& ioBytes) {
    const std::size_t size = ioBytes.size();
    ioBytes.resize(size + inBytes.size());
    std::copy(inBytes.begin(), inBytes.end(), ioBytes.begin() + static_cast<std::ptrdiff_t>(size));
}

std::vector<std::uint8_t> WithStartCode(std::span<const std::uint8_t> inBytes) {
    std::vector<std::uint8_t> all;
    Append(kExtensionStart, all);
    Append(inBytes, all);
    return all;
}

std::span<const std::uint8_t> BehindStartCode(const std::vector<std::uint8_t>& inExtension) {
    return std::span(inExtension).subspan(kExtensionStart.size());
}

// The last bit of the fixed part is the first of what follows: load_intra_quantiser_matrix is its bit 1.
void AppendMatrices(const SequenceSyntax& inSequence, std::vector<std::uint8_t>& ioBytes) {
    if (inSequence.intra) {
        ioBytes.back() |= 2;
        for (const unsigned weight : *inSequence.intra) {
            ioBytes.back() = static_cast<std::uint8_t>(ioBytes.back() | weight >> 7);
            ioBytes.push_back(static_cast<std::uint8_t>(weight << 1));
        }
    }
    if (inSequence.nonIntra) {
        ioBytes.back() |= 1;
        Append(*inSequence.nonIntra, ioBytes);
    }
}

void ReadSequenceExtension(const SequenceSyntax& inSequence, SequenceParameterSet& ioSet) {
    HeaderBits bits(BehindStartCode(inSequence.extension));
    bits.Skip(4 + 8);  // identifier, profile_and_level_indication
    ioSet.isProgressive = bits.Get(1) != 0;
    ioSet.chromaFormat = static_cast<std::uint8_t>(bits.Get(2));
    ioSet.width |= bits.Get(2) << 12;
    ioSet.height |= bits.Get(2) << 12;
    bits.Skip(12 + 1 + 8 + 1);  // bit_rate_extension to low_delay
    ioSet.frameRateExtensionN = static_cast<std::uint8_t>(bits.Get(2));
    ioSet.frameRateExtensionD = static_cast<std::uint8_t>(bits.Get(5));
}

void ReadDisplayExtension(const SequenceSyntax& inSequence, SequenceParameterSet& ioSet) {
    HeaderBits bits(BehindStartCode(inSequence.displayExtension));
    bits.Skip(4);
    ioSet.colour[0] = static_cast<std::uint8_t>(bits.Get(3));
    if (bits.Get(1) != 0) {
        for (std::size_t i = 1; i < 4; ++i) ioSet.colour[i] = static_cast<std::uint8_t>(bits.Get(8));
    }
    ioSet.displayWidth = bits.Get(14);
    bits.Skip(1);
    ioSet.displayHeight = bits.Get(14);
}

}  // namespace

std::uint32_t HeaderBits::Get(unsigned inCount) {
    std::uint32_t value = 0;
    for (; inCount > 0; --inCount, ++mAt) {
        const unsigned byte = mAt / 8 < mBytes.size() ? mBytes[mAt / 8] : 0u;
        value = value << 1 | (byte >> (7 - mAt % 8) & 1u);
    }
    return value;
}

void SequenceSyntax::SetFrameRateCode(unsigned inCode) {
    header[3] = static_cast<std::uint8_t>((header[3] & 0xF0u) | inCode);
}

bool SequenceSyntax::IsUsable() const {
    constexpr unsigned kEscapedProfile = 0x58;  // of streams with other coding tools
    const SequenceParameterSet set = Assemble();
    const bool isHeaderGood = set.width != 0 && set.height != 0 && set.aspectRatioCode != 0 &&
                              set.aspectRatioCode != 15 && (header[6] & 0x20) != 0;
    if (!isHeaderGood || !IsMpeg2()) return isHeaderGood;
    HeaderBits bits(BehindStartCode(extension));
    bits.Skip(4);
    const bool isProfileGood = (bits.Get(8) & 0x7F) != kEscapedProfile;
    bits.Skip(3 + 4 + 12);
    return isProfileGood && bits.Get(1) != 0 && set.width < 4096 && set.height < 4096;
}

SequenceParameterSet SequenceSyntax::Assemble() const {
    SequenceParameterSet set;
    Append(kHeaderStart, set.bytes);
    Append(header, set.bytes);
    AppendMatrices(*this, set.bytes);
    Append(extension, set.bytes);
    Append(displayExtension, set.bytes);

    HeaderBits bits(header);
    set.width = bits.Get(12);
    set.height = bits.Get(12);
    set.aspectRatioCode = static_cast<std::uint8_t>(bits.Get(4));
    set.frameRateCode = static_cast<std::uint8_t>(bits.Get(4));
    if (!extension.empty()) ReadSequenceExtension(*this, set);
    if (!displayExtension.empty()) ReadDisplayExtension(*this, set);
    return set;
}

std::optional<SequenceSyntax> ParseSequenceHeader(std::span<const std::uint8_t> inBytes) {
    SequenceSyntax sequence;
    if (inBytes.size() < sequence.header.size()) return std::nullopt;
    std::copy_n(inBytes.begin(), sequence.header.size(), sequence.header.begin());
    sequence.header.back() &= 0xFC;
    HeaderBits bits(inBytes);
    bits.Skip(kHeaderBits);
    sequence.intra = ReadMatrix(bits);
    sequence.nonIntra = ReadMatrix(bits);
    return sequence;
}

void ParseSequenceExtension(std::span<const std::uint8_t> inBytes, SequenceSyntax& ioSequence) {
    if (inBytes.size() < kExtensionSize) return;
    ioSequence.extension = WithStartCode(inBytes.first(kExtensionSize));
}

void ParseSequenceDisplayExtension(std::span<const std::uint8_t> inBytes, SequenceSyntax& ioSequence) {
    if (inBytes.empty()) return;
    const bool colour_description = (inBytes[0] & 1) != 0;
    const std::size_t size = kDisplayExtensionSize + (colour_description ? kColourDescriptionSize : 0);
    if (inBytes.size() < size) return;
    ioSequence.displayExtension = WithStartCode(inBytes.first(size));
}

void LoadMatrices(std::span<const std::uint8_t> inQuantMatrixExtension, SequenceSyntax& ioSequence) {
    HeaderBits bits(inQuantMatrixExtension);
    bits.Skip(4);
    if (const auto intra = ReadMatrix(bits)) ioSequence.intra = intra;
    if (const auto nonIntra = ReadMatrix(bits)) ioSequence.nonIntra = nonIntra;
}

}  // namespace VexmoraHost
