// Looking codes up in the lists of the tables, and what is not looked up.
#include "Syntax/SyntaxWriter.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

#include "Support/CodeLists.h"

namespace Vexmora::Test {
namespace {

constexpr int kLargestIncrement = 33;

void PutCode(BitWriter& ioBits, VlcList inList, int inValue) {
    const std::vector<ListedCode> codes = CodesOf(inList, 1);
    const auto code = std::ranges::find(codes, inValue, [](const ListedCode& in) { return in.values[0]; });
    if (code == codes.end()) throw std::out_of_range("no code for this value");
    ioBits.Put(code->length, code->bits);
}

std::vector<CoefficientCode> ReadCodes(VlcList inList) {
    std::vector<CoefficientCode> codes;
    for (const ListedCode& code : CodesOf(inList, 2)) {
        codes.push_back({static_cast<unsigned>(code.values[0]), code.values[1], code.length, code.bits});
    }
    return codes;
}

unsigned BitsOf(int inMagnitude) {
    unsigned bits = 0;
    while ((inMagnitude >> bits) != 0) ++bits;
    return bits;
}

const CoefficientCode* Find(CoefficientTable inTable, unsigned inRun, int inLevel) {
    for (const CoefficientCode& code : CoefficientCodes(inTable)) {
        if (code.run == inRun && code.level == inLevel) return &code;
    }
    return nullptr;
}

}  // namespace

const std::vector<CoefficientCode>& CoefficientCodes(CoefficientTable inTable) {
    static const std::array kTables{ReadCodes(kDctFirstCoefficientList), ReadCodes(kDctCoefficientList),
                                    ReadCodes(kDctCoefficientAlternativeList)};
    return kTables[static_cast<std::size_t>(inTable)];
}

void SyntaxWriter::PutAddressIncrement(int inIncrement) {
    int escapes = 0;
    for (; inIncrement > kLargestIncrement; inIncrement -= kLargestIncrement, ++escapes) {
        PutCode(mBits, kMacroblockAddressIncrementList, kMacroblockEscape);
    }
    PutCode(mBits, kMacroblockAddressIncrementList, inIncrement);
    mFeatures.Count("macroblock_escapes", escapes);
    mFeatures.Count("macroblock_address_increment", inIncrement);
}

void SyntaxWriter::PutMacroblockType(unsigned inPictureType, int inType) {
    PutCode(mBits,
            inPictureType == kPictureTypeI   ? kMacroblockTypeListI
            : inPictureType == kPictureTypeP ? kMacroblockTypeListP
                                             : kMacroblockTypeListB,
            inType);
}

void SyntaxWriter::PutCodedBlockPattern(int inPattern) {
    PutCode(mBits, kCodedBlockPatternList, inPattern);
    mFeatures.Count("coded_block_pattern", inPattern);
}

void SyntaxWriter::PutVectorComponent(unsigned inFCode, int inPredictor, int inComponent,
                                      const char* inPlace) {
    const unsigned r_size = inFCode - 1;
    const int range = 32 << r_size;
    int delta = inComponent - inPredictor;
    if (delta < -range / 2 || delta >= range / 2) {
        mFeatures.Count("vector wraps", delta < 0 ? "up" : "down", inPlace, "f_code", inFCode);
        delta += delta < 0 ? range : -range;
    }
    const int magnitude = std::abs(delta) - 1;
    const int motion_code = delta == 0 ? 0 : ((magnitude >> r_size) + 1) * (delta < 0 ? -1 : 1);
    PutCode(mBits, kMotionCodeList, motion_code);
    if (motion_code != 0) Put(r_size, static_cast<unsigned>(magnitude) & ((1u << r_size) - 1));
    mFeatures.Count("motion_code", motion_code);
}

void SyntaxWriter::PutDualPrimeDifference(int inDifference) {
    if (inDifference == 0) {
        Put(1, 0);
    } else {
        Put(2, inDifference > 0 ? 2 : 3);
    }
    mFeatures.Count("dmvector", inDifference);
}

void SyntaxWriter::PutDcDifferential(bool inIsLuminance, int inDifferential) {
    const unsigned size = BitsOf(std::abs(inDifferential));
    PutCode(mBits, inIsLuminance ? kDctDcSizeLuminanceList : kDctDcSizeChrominanceList,
            static_cast<int>(size));
    const int bits = inDifferential < 0 ? inDifferential + (1 << size) - 1 : inDifferential;
    Put(size, static_cast<unsigned>(bits));
    mFeatures.Count("dct_dc_size", inIsLuminance ? "luminance" : "chrominance", size);
}

void SyntaxWriter::PutCoefficient(CoefficientTable inTable, unsigned inRun, int inLevel, bool inAsEscape) {
    const CoefficientCode* const code = inAsEscape ? nullptr : Find(inTable, inRun, std::abs(inLevel));
    if (code != nullptr) {
        Put(code->length, code->code).Put(1, inLevel < 0);
        mFeatures.Count("coefficient", static_cast<int>(inTable), inRun, std::abs(inLevel));
        return;
    }
    const CoefficientCode& escape = *Find(inTable, kRunEscape, 0);
    Put(escape.length, escape.code).Put(6, inRun).Put(12, static_cast<unsigned>(inLevel) & 0xFFF);
    mFeatures.Count("escape run", inRun);
    mFeatures.Count("escape level of bits",
                    (inLevel < 0 ? -1 : 1) * static_cast<int>(BitsOf(std::abs(inLevel))));
    if (std::abs(inLevel) == 2047) mFeatures.Count("escape level", inLevel);
}

void SyntaxWriter::PutEndOfBlock(CoefficientTable inTable) {
    // The short first code takes the place of the end of block, which no block begins with.
    const CoefficientTable table = inTable == CoefficientTable::First ? CoefficientTable::B14 : inTable;
    const CoefficientCode& code = *Find(table, kRunEndOfBlock, 0);
    Put(code.length, code.code);
}

}  // namespace Vexmora::Test
