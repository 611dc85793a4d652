// The codes of the slice, macroblock and block layers (ISO/IEC 13818-2, 6.2.4 to 6.2.6), written and counted.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// How often each feature of the syntax was written. A feature is named by words and numbers.
class Features {
  public:
    template <class... Parts>
    void Count(const Parts&... inParts) {
        ++mCounts[Name(inParts...)];
    }
    /// How many different ones were counted.
    std::size_t Kinds() const { return mCounts.size(); }

  private:
    template <class... Parts>
    static std::string Name(const Parts&... inParts) {
        std::ostringstream name;
        ((name << inParts << ' '), ...);
        return name.str();
    }

    std::map<std::string, std::size_t> mCounts;
};

/// The tables of DCT coefficients: B.14 with its short first code, B.14, and B.15.
enum class CoefficientTable { First, B14, B15 };

/// A code of such a table, without its sign bit.
struct CoefficientCode {
    unsigned run = 0;
    int level = 0;
    unsigned length = 0;
    unsigned code = 0;
};
const std::vector<CoefficientCode>& CoefficientCodes(CoefficientTable inTable);

/// Writes one code after the other. The features outlive it.
class SyntaxWriter {
  public:
    explicit SyntaxWriter(Features& ioFeatures) : mFeatures(ioFeatures) {}

    SyntaxWriter& Put(unsigned inBitCount, std::uint64_t inValue) {
        mBits.Put(inBitCount, inValue);
        return *this;
    }
    Bytes Take() { return mBits.Take(); }

    /// With as many escapes of 33 as it takes.
    void PutAddressIncrement(int inIncrement);
    /// inType is a set of MacroblockFlag.
    void PutMacroblockType(unsigned inPictureType, int inType);
    void PutCodedBlockPattern(int inPattern);
    /// A component of a vector, in half samples, as its difference from the predictor, wrapped around where
    /// it must be. inPlace names the component among the features.
    void PutVectorComponent(unsigned inFCode, int inPredictor, int inComponent, const char* inPlace);
    /// inDifference is -1, 0 or 1.
    void PutDualPrimeDifference(int inDifference);
    void PutDcDifferential(bool inIsLuminance, int inDifferential);
    /// As an escape if the table has no code for it, or if that is wanted.
    void PutCoefficient(CoefficientTable inTable, unsigned inRun, int inLevel, bool inAsEscape);
    void PutEndOfBlock(CoefficientTable inTable);

  private:
    Features& mFeatures;
    BitWriter mBits;
};

}  // namespace Vexmora::Test
