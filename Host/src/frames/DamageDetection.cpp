// Marks, their reading after the decode, and concealment.
#include "frames/DamageDetection.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

namespace VexmoraHost {
namespace {

// Samples of the longest line of macroblocks: sizes have 12 bits.
constexpr std::size_t kLongestLine = 4096;
constexpr std::size_t kPatternShifts = 512;

// Bytes 4 to 11 and 0xF4 to 0xFB in turn: clipped black and white, too, are different.
constexpr auto kPattern = [] {
    std::array<std::uint8_t, kLongestLine + kPatternShifts> pattern{};
    std::uint32_t random = 1;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        random = random * 1664525u + 1013904223u;
        pattern[i] = static_cast<std::uint8_t>((random >> 29) + (i % 2 == 0 ? 0x04 : 0xF4));
    }
    return pattern;
}();

// The marks of a line, 0 or 1, of a row of macroblocks. The two lines alternate the other way round.
const std::uint8_t* MarksOf(std::size_t inRow, std::size_t inLine) {
    return kPattern.data() + (inRow * 38 + inLine * 101) % kPatternShifts;
}
constexpr std::array<std::size_t, 2> kMarkedLines{0, 1};

enum Component : std::size_t { kLuma, kCb, kCr };
constexpr std::array kComponents{kLuma, kCb, kCr};

// One plane, cut into macroblocks.
struct Tiles {
    Tiles(const PictureLayout& inLayout, const Vexmora::FramePlanes& inPlanes, Component inComponent)
        : samples(inPlanes.planes[inComponent]),
          stride(inComponent == kLuma ? inLayout.pitches.luma : inLayout.pitches.chroma),
          width(inLayout.macroblockWidth / (inComponent == kLuma ? 1 : 2)),
          height(inLayout.macroblockHeight / (inComponent == kLuma ? 1 : 2)) {}

    std::uint8_t* At(std::size_t inRow, std::size_t inColumn) const {
        return samples + inRow * height * stride + inColumn * width;
    }

    std::uint8_t* samples;
    std::size_t stride;
    std::size_t width;
    std::size_t height;
};

// Whether any four samples are still as they were marked. Written ones hardly ever are: a quick look at a
// line before one at each macroblock.
bool HasCommonSamples(const std::uint8_t* inSamples, const std::uint8_t* inMarks, std::size_t inCount) {
    std::uint32_t found = 0;
    for (std::size_t i = 0; i < inCount / 4; ++i) {
        std::uint32_t samples;
        std::uint32_t marks;
        std::memcpy(&samples, inSamples + i * 4, sizeof samples);
        std::memcpy(&marks, inMarks + i * 4, sizeof marks);
        found |= samples == marks ? 1u : 0u;
    }
    return found != 0;
}

// The macroblocks of a picture and what became of them.
class Macroblocks {
  public:
    Macroblocks(const PictureLayout& inLayout, const Vexmora::FramePlanes& inPlanes)
        : mLayout(inLayout),
          mPlanes{Tiles(inLayout, inPlanes, kLuma), Tiles(inLayout, inPlanes, kCb),
                  Tiles(inLayout, inPlanes, kCr)} {}

    void Mark() const {
        for (std::size_t row = 0; row < mLayout.codedRows; ++row) {
            for (const std::size_t line : kMarkedLines) {
                std::memcpy(LineOf(row, line), MarksOf(row, line), LineSamples());
            }
        }
    }

    // Step 2. False if all were written.
    bool FindUnwritten() {
        for (std::size_t row = 0; row < mLayout.codedRows; ++row) {
            if (!MayBearMarks(row)) continue;
            mUnwritten.resize(std::size_t{mLayout.codedRows} * mLayout.columns);
            for (std::size_t column = 0; column < mLayout.columns; ++column) {
                mUnwritten[row * mLayout.columns + column] = BearsMarks(row, column);
            }
        }
        return !mUnwritten.empty();
    }

    bool IsUnwritten(std::size_t inRow, std::size_t inColumn) const {
        const std::size_t number = inRow * mLayout.columns + inColumn;
        return number < mUnwritten.size() && mUnwritten[number];
    }

    // Step 3, for one that was written.
    template <typename References>
    bool IsFailed(const References& inReferences, std::size_t inRow, std::size_t inColumn) const {
        const bool isLast = inColumn + 1 == mLayout.columns;
        const bool isFollowed =
            isLast ? inRow + 1 < mLayout.rows && IsUnwritten(inRow + 1, 0) : IsUnwritten(inRow, inColumn + 1);
        if (isFollowed) return IsRed(inRow, inColumn);
        const auto isRedThere = [=](const Macroblocks& in) { return in.IsRed(inRow, inColumn); };
        return isLast && IsRed(inRow, inColumn) &&
               std::none_of(inReferences.begin(), inReferences.end(), isRedThere) &&
               !(inColumn > 0 && IsRed(inRow, inColumn - 1)) && !(inRow > 0 && IsRed(inRow - 1, inColumn)) &&
               !(inRow + 1 < mLayout.rows && IsRed(inRow + 1, inColumn));
    }

    // Step 4.
    void Conceal(const Macroblocks& inReference, std::size_t inRow, std::size_t inColumn) const {
        for (const Component component : kComponents) {
            const Tiles& plane = mPlanes[component];
            const Tiles& reference = inReference.mPlanes[component];
            for (std::size_t line = 0; line < plane.height; ++line) {
                std::uint8_t* const target = plane.At(inRow, inColumn) + line * plane.stride;
                if (reference.samples == nullptr) {
                    std::memset(target, kMidGrey, plane.width);
                } else {
                    std::memcpy(target, reference.At(inRow, inColumn) + line * plane.stride, plane.width);
                }
            }
        }
    }

  private:
    std::uint8_t* LineOf(std::size_t inRow, std::size_t inLine) const {
        return mPlanes[kLuma].At(inRow, 0) + inLine * mPlanes[kLuma].stride;
    }
    std::size_t LineSamples() const { return mLayout.columns * mPlanes[kLuma].width; }

    bool MayBearMarks(std::size_t inRow) const {
        return std::any_of(kMarkedLines.begin(), kMarkedLines.end(), [&](std::size_t inLine) {
            return HasCommonSamples(LineOf(inRow, inLine), MarksOf(inRow, inLine), LineSamples());
        });
    }
    bool BearsMarks(std::size_t inRow, std::size_t inColumn) const {
        const std::size_t width = mPlanes[kLuma].width;
        return std::any_of(kMarkedLines.begin(), kMarkedLines.end(), [&](std::size_t inLine) {
            return std::memcmp(LineOf(inRow, inLine) + inColumn * width,
                               MarksOf(inRow, inLine) + inColumn * width, width) == 0;
        });
    }

    bool IsRed(std::size_t inRow, std::size_t inColumn) const {
        return mPlanes[kLuma].samples != nullptr && IsFilled(kCr, inRow, inColumn, Vexmora::kErrorCr) &&
               IsFilled(kCb, inRow, inColumn, Vexmora::kErrorCb) &&
               IsFilled(kLuma, inRow, inColumn, Vexmora::kErrorLuma);
    }

    bool IsFilled(Component inComponent, std::size_t inRow, std::size_t inColumn,
                  std::uint8_t inValue) const {
        const Tiles& plane = mPlanes[inComponent];
        std::array<std::uint8_t, 16> filled;
        filled.fill(inValue);
        for (std::size_t line = 0; line < plane.height; ++line) {
            const std::uint8_t* const samples = plane.At(inRow, inColumn) + line * plane.stride;
            if (std::memcmp(samples, filled.data(), plane.width) != 0) return false;
        }
        return true;
    }

    const PictureLayout& mLayout;
    const std::array<Tiles, 3> mPlanes;
    std::vector<bool> mUnwritten;  // row by row; empty while all were written
};

}  // namespace

void MarkMacroblocks(const PictureLayout& inLayout, const Vexmora::FramePlanes& outPlanes) {
    Macroblocks(inLayout, outPlanes).Mark();
}

std::uint32_t ConcealFailures(const PictureLayout& inLayout, const Vexmora::FramePlanes& inConcealment,
                              const std::array<Vexmora::FramePlanes, 2>& inReferences,
                              const Vexmora::FramePlanes& ioPlanes, Failed inFailed) {
    const Macroblocks concealment(inLayout, inConcealment);
    const std::array references{Macroblocks(inLayout, inReferences[0]),
                                Macroblocks(inLayout, inReferences[1])};
    Macroblocks picture(inLayout, ioPlanes);
    const bool hasUnwritten = picture.FindUnwritten();
    std::uint32_t failures = 0;
    std::vector<std::pair<std::size_t, std::size_t>> failed;  // stay red until all were found: they tell
    for (std::size_t row = 0; row < inLayout.codedRows; ++row) {
        // With everything written only the last macroblock of a row can be known to have failed.
        for (std::size_t column = hasUnwritten ? 0 : inLayout.columns - 1; column < inLayout.columns;
             ++column) {
            const bool isUnwritten = picture.IsUnwritten(row, column);
            const bool isFailed =
                !isUnwritten && row < inLayout.rows && picture.IsFailed(references, row, column);
            if (isFailed || (isUnwritten && row < inLayout.rows)) ++failures;
            if (isUnwritten) picture.Conceal(concealment, row, column);
            if (isFailed && inFailed == Failed::AreConcealed) failed.emplace_back(row, column);
        }
    }
    for (const auto& [row, column] : failed) picture.Conceal(concealment, row, column);
    return failures;
}

void ConcealAll(const PictureLayout& inLayout, const Vexmora::FramePlanes& inReference,
                const Vexmora::FramePlanes& outPlanes) {
    const Macroblocks reference(inLayout, inReference);
    const Macroblocks picture(inLayout, outPlanes);
    for (std::size_t row = 0; row < inLayout.codedRows; ++row) {
        for (std::size_t column = 0; column < inLayout.columns; ++column) {
            picture.Conceal(reference, row, column);
        }
    }
}

}  // namespace VexmoraHost
