// Predictions, copies and fills of every table against their definitions, in memory of just the size allowed.
#include "primitives/Prediction.h"

#include <gtest/gtest.h>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

struct Size {
    std::size_t width;
    std::size_t height;
};
constexpr Size kSizes[kBlockSizeCount] = {{16, 16}, {16, 8}, {8, 16}, {8, 8}, {8, 4}, {4, 8}, {4, 4}, {4, 2}};
constexpr HalfSampleType kTypes[] = {HalfSampleType::Full, HalfSampleType::HalfVertical,
                                     HalfSampleType::HalfHorizontal, HalfSampleType::HalfBoth};

/// A reference that ends with the last sample that its type may read.
struct Reference {
    Reference(Random& ioRandom, Size inSize, HalfSampleType inType, std::size_t inGap, bool inExtremes)
        : step(inSize.width + (Horizontal(inType) ? 1U : 0U) + inGap),
          samples(step * (inSize.height - (Vertical(inType) ? 0U : 1U)) + inSize.width +
                  (Horizontal(inType) ? 1U : 0U)),
          type(inType) {
        for (std::uint8_t& sample : samples) {
            sample = inExtremes ? static_cast<std::uint8_t>(255 * ioRandom.Between(0, 1)) : ioRandom.Byte();
        }
    }
    static bool Horizontal(HalfSampleType inType) { return (static_cast<int>(inType) & 8) != 0; }
    static bool Vertical(HalfSampleType inType) { return (static_cast<int>(inType) & 4) != 0; }

    int At(std::size_t inX, std::size_t inY) const {
        const std::uint8_t* at = samples.data() + inY * step + inX;
        const int right = Horizontal(type) ? 1 : 0;
        if (Vertical(type)) {
            return right != 0 ? (at[0] + at[1] + at[step] + at[step + 1] + 2) / 4
                              : (at[0] + at[step] + 1) / 2;
        }
        return (at[0] + at[right] + 1) / 2;
    }
    ReferenceBlock Block() const { return {samples.data(), static_cast<std::ptrdiff_t>(step), type}; }

    std::size_t step;
    Bytes samples;
    HalfSampleType type;
};

/// A residual, absent, of usual size or of any size, in rows with a gap.
struct Residual {
    enum class Kind { None, Usual, Wild };
    Residual(Random& ioRandom, Size inSize, Kind inKind) : step(inSize.width + 3) {
        const int limit = inKind == Kind::Wild ? 32767 : 300;
        if (inKind == Kind::None) return;
        values.resize(step * (inSize.height - 1) + inSize.width);
        for (std::int16_t& value : values)
            value = static_cast<std::int16_t>(ioRandom.Between(-limit - 1, limit));
    }
    int At(std::size_t inX, std::size_t inY) const { return values.empty() ? 0 : values[inY * step + inX]; }
    ResidualBlock Block() const {
        return {values.empty() ? nullptr : values.data(),
                static_cast<std::ptrdiff_t>(step * sizeof(std::int16_t))};
    }

    std::size_t step;
    std::vector<std::int16_t> values;
};

/// A plane with other samples around the block that is written.
struct Plane {
    explicit Plane(Size inSize) : step(inSize.width + 5), samples(step * (inSize.height + 2), 0xA5) {}
    PixelBlock Block() { return {samples.data() + step + 2, static_cast<std::ptrdiff_t>(step)}; }
    void Set(std::size_t inX, std::size_t inY, int inValue) {
        samples[(inY + 1) * step + inX + 2] = static_cast<std::uint8_t>(std::clamp(inValue, 0, 255));
    }

    std::size_t step;
    Bytes samples;
};

TEST(Prediction, EverySizeTypeAndResidual) {
    Random random;
    for (int round = 0; round < 6; ++round) {
        for (std::size_t s = 0; s < kBlockSizeCount; ++s) {
            const Size size = kSizes[s];
            for (const HalfSampleType first_type : kTypes) {
                for (const HalfSampleType second_type : kTypes) {
                    const std::size_t gap = static_cast<std::size_t>(round) % 3;
                    const Reference first(random, size, first_type, gap, round == 0);
                    const Reference second(random, size, second_type, 2 * gap, round == 0);
                    const Residual residual(random, size, static_cast<Residual::Kind>(round % 3));
                    Plane single(size), both(size);
                    for (std::size_t y = 0; y < size.height; ++y) {
                        for (std::size_t x = 0; x < size.width; ++x) {
                            single.Set(x, y, first.At(x, y) + residual.At(x, y));
                            both.Set(x, y, (first.At(x, y) + second.At(x, y) + 1) / 2 + residual.At(x, y));
                        }
                    }
                    for (const NamedTable& table : RunnableTables()) {
                        SCOPED_TRACE(table.name + ", size " + std::to_string(s));
                        Plane plane(size);
                        ASSERT_EQ(
                            table.primitives->predictBlock[s](first.Block(), residual.Block(), plane.Block()),
                            PrimitiveStatus::Ok);
                        ASSERT_EQ(plane.samples, single.samples);
                        plane = Plane(size);
                        ASSERT_EQ(table.primitives->predictBlockBidirectional[s](
                                      first.Block(), second.Block(), residual.Block(), plane.Block()),
                                  PrimitiveStatus::Ok);
                        ASSERT_EQ(plane.samples, both.samples);
                    }
                }
            }
        }
    }
}

TEST(Copy, AreasOfEverySizeAndTheirRefusals) {
    Random random;
    for (std::size_t width = 1; width <= 33; ++width) {
        const Size size{width, 1 + width % 9};
        const Reference source(random, size, HalfSampleType::Full, width % 4, false);
        Plane copied(size), filled(size);
        for (std::size_t y = 0; y < size.height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                copied.Set(x, y, source.At(x, y));
                filled.Set(x, y, 77);
            }
        }
        const auto w = static_cast<std::int32_t>(size.width);
        const auto h = static_cast<std::int32_t>(size.height);
        for (const NamedTable& table : RunnableTables()) {
            const PrimitiveTable& in = *table.primitives;
            Plane plane(size);
            const PixelBlock to = plane.Block();
            const ReferenceBlock from = source.Block();
            EXPECT_EQ(in.copyBlock(from.samples, from.step, to.samples, to.step, w, 0),
                      PrimitiveStatus::SizeNotPositive);
            EXPECT_EQ(in.copyBlock(nullptr, 0, to.samples, to.step, w, h), PrimitiveStatus::NullPointer);
            EXPECT_EQ(in.fillBlock(77, to.samples, to.step, -1, h), PrimitiveStatus::SizeNotPositive);
            EXPECT_EQ(in.copyBytes(from.samples, to.samples, 0), PrimitiveStatus::SizeNotPositive);
            EXPECT_EQ(in.copyBytes(from.samples, nullptr, w), PrimitiveStatus::NullPointer);
            EXPECT_EQ(plane.samples, Plane(size).samples) << table.name;

            EXPECT_EQ(in.copyBlock(from.samples, from.step, to.samples, to.step, w, h), PrimitiveStatus::Ok);
            EXPECT_EQ(plane.samples, copied.samples) << table.name;
            EXPECT_EQ(in.fillBlock(77, to.samples, to.step, w, h), PrimitiveStatus::Ok);
            EXPECT_EQ(plane.samples, filled.samples) << table.name;
            Bytes bytes(source.samples.size());
            EXPECT_EQ(in.copyBytes(from.samples, bytes.data(), static_cast<std::int64_t>(bytes.size())),
                      PrimitiveStatus::Ok);
            EXPECT_EQ(bytes, source.samples) << table.name;
        }
    }
}

}  // namespace
}  // namespace Vexmora::Test
