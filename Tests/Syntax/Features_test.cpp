// The random streams reach every feature of the syntax that they are there for.
#include <gtest/gtest.h>

#include "Syntax/RandomStream.h"

namespace Vexmora::Test {
namespace {

class FeaturesOfRandomStreams : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        const std::uint32_t seed = SyntaxSeed();
        for (const StreamPlan& plan : kStreamPlans) MakeRandomStream(plan, seed, sFeatures);
    }
    template <class... Parts>
    static void Expect(const Parts&... inParts) {
        EXPECT_TRUE(sFeatures.Has(inParts...)) << Features::Name(inParts...);
    }
    template <class... Parts>
    static void ExpectEach(int inFirst, int inLast, const Parts&... inParts) {
        for (int number = inFirst; number <= inLast; ++number) Expect(inParts..., number);
    }

    static constexpr const char* kPlaces[]{"frame", "first field", "second field"};
    inline static Features sFeatures;
};

TEST_F(FeaturesOfRandomStreams, MacroblockTypes) {
    for (const char* const place : kPlaces) {
        for (const int type : {1, 17}) Expect("type", place, 1, type);
        for (const int type : {10, 2, 8, 1, 26, 18, 17}) Expect("type", place, 2, type);
        for (const int type : {14, 12, 6, 4, 10, 8, 1, 30, 26, 22, 17}) Expect("type", place, 3, type);
        Expect("skipped P", place);
        for (const int directions : {1, 2, 3}) Expect("skipped B", place, directions % 2, directions / 2);
        ExpectEach(1, 3, "concealment", place);
    }
    ExpectEach(0, 1, "dct_type intra");
    ExpectEach(0, 1, "dct_type non-intra");
    ExpectEach(0, 1, "frame_pred_frame_dct");
    ExpectEach(1, 63, "coded_block_pattern");
    ExpectEach(0, 3, "macroblock_escapes");
    ExpectEach(1, 33, "macroblock_address_increment");
}

TEST_F(FeaturesOfRandomStreams, Motion) {
    for (const char* const place : kPlaces) {
        for (const char* const motion : {"whole", "halves"}) {
            Expect("motion", place, 2, motion, 1, 0);
            for (const int directions : {1, 2, 3}) {
                Expect("motion", place, 3, motion, directions % 2, directions / 2);
            }
        }
    }
    ExpectEach(0, 1, "dual prime frame", 3);  // top_field_first
    for (const int structure : {1, 2}) {
        Expect("dual prime first field", structure, 0);
        Expect("dual prime second field", structure, 0);
        for (const char* const field : {"first", "past"})
            Expect("second field", structure, "from the", field);
    }
    for (const char type : {'I', 'J', 'P', 'B'}) {
        for (const char* const order : {"top first", "bottom first"}) Expect("field pair", type, order);
    }
    for (const char* const component :
         {"forward horizontal", "forward vertical", "backward horizontal", "backward vertical"}) {
        for (const char* const where : {"up", "down"}) {
            ExpectEach(1, 9, "vector wraps", where, component, "f_code");
        }
    }
    ExpectEach(-16, 16, "motion_code");
    ExpectEach(-1, 1, "dmvector");
}

TEST_F(FeaturesOfRandomStreams, Coefficients) {
    for (const CoefficientTable table :
         {CoefficientTable::First, CoefficientTable::B14, CoefficientTable::B15}) {
        EXPECT_GE(CoefficientCodes(table).size(), 112u);
        for (const CoefficientCode& code : CoefficientCodes(table)) {
            if (code.level != 0) Expect("coefficient", static_cast<int>(table), code.run, code.level);
        }
    }
    ExpectEach(0, 63, "escape run");
    for (const int sign : {-1, 1}) {
        for (int bits = 1; bits <= 11; ++bits) Expect("escape level of bits", sign * bits);
        Expect("escape level", sign * 2047);
    }
    ExpectEach(0, 11, "dct_dc_size luminance");
    ExpectEach(0, 11, "dct_dc_size chrominance");
    ExpectEach(0, 3, "intra_dc_precision");
    for (const int isNonLinear : {0, 1}) ExpectEach(1, 31, "quantiser_scale_code", isNonLinear);
    for (const int isAlternate : {0, 1}) ExpectEach(0, 1, "scan", isAlternate, "B.15");
    for (const char* const place : {"sequence header", "extension"}) {
        Expect("intra matrix", place);
        Expect("non-intra matrix", place);
    }
}

TEST_F(FeaturesOfRandomStreams, Slices) {
    Expect("slice begins in a row");
    Expect("extra_information_slice");
    ExpectEach(0, 1, "intra_slice");
    ExpectEach(0, 1, "slice_vertical_position_extension");
}

}  // namespace
}  // namespace Vexmora::Test
