// Builds decoding tables out of code lists.
#include "primitives/VlcTable.h"

#include <cstddef>
#include <utility>

namespace Vexmora {
namespace {

constexpr std::int32_t kMaximumLength = 24;
constexpr std::int32_t kMaximumStageBits = 16;
// Links of run-level tables hold 16-bit indices; tables of coefficients and symbols are much smaller.
constexpr std::size_t kMaximumIndex = INT16_MAX;
constexpr std::int32_t kBlockCoefficients = 64;
constexpr std::int32_t kMaximumLevel = 2047;

// One code on the way into a table.
template <typename Entry>
struct Code {
    std::uint32_t bits;
    std::int32_t length;
    Entry entry;
};

template <typename Entry>
struct ParsedList {
    std::vector<std::int32_t> stages;
    std::vector<Code<Entry>> codes;
};

// Takes numbers from the front of a list; asked for more than there are, it gives one that no place allows.
class ListReader {
  public:
    explicit ListReader(VlcList inList) : mRest(inList) {}

    std::int32_t Next() {
        if (mRest.empty()) return INT32_MIN;
        const std::int32_t number = mRest.front();
        mRest = mRest.subspan(1);
        return number;
    }
    bool IsEmpty() const { return mRest.empty(); }

  private:
    VlcList mRest;
};

bool AddCode(ListReader& ioReader, std::uint32_t inBits, std::int32_t inLength,
             std::vector<Code<VlcEntry>>& ioCodes) {
    ioCodes.push_back({inBits, inLength, {ioReader.Next(), inLength}});
    return true;
}

bool AddCode(ListReader& ioReader, std::uint32_t inBits, std::int32_t inLength,
             std::vector<Code<RunLevelEntry>>& ioCodes) {
    const std::int32_t run = ioReader.Next();
    const std::int32_t level = ioReader.Next();
    const auto add = [&](std::uint32_t inWholeCode, std::int32_t inWholeLength, std::int32_t inSignedLevel) {
        ioCodes.push_back({inWholeCode, inWholeLength, MakeRunLevelEntry(run, inSignedLevel, inWholeLength)});
    };
    if (run == kRunEndOfBlock || run == kRunEscape) {
        add(inBits, inLength, 0);
        return level == 0;
    }
    if (run < 0 || run >= kBlockCoefficients || level < 1 || level > kMaximumLevel) return false;
    add(inBits << 1, inLength + 1, level);
    add(inBits << 1 | 1, inLength + 1, -level);
    return true;
}

template <typename Entry>
bool Parse(VlcList inList, ParsedList<Entry>& outParsed) {
    ListReader reader(inList);
    const std::int32_t maximum_length = reader.Next();
    const std::int32_t stage_count = reader.Next();
    if (maximum_length < 1 || maximum_length > kMaximumLength || stage_count < 1) return false;
    for (std::int32_t stage = 0; stage < stage_count; ++stage) {
        const std::int32_t bits = reader.Next();
        if (bits < 1 || bits > kMaximumStageBits) return false;
        outParsed.stages.push_back(bits);
    }
    for (std::int32_t length = 1; length <= maximum_length; ++length) {
        const std::int32_t count = reader.Next();
        if (count < 0) return false;
        for (std::int32_t i = 0; i < count; ++i) {
            const std::int32_t bits = reader.Next();
            if (bits < 0 || bits >> length != 0) return false;
            if (!AddCode(reader, static_cast<std::uint32_t>(bits), length, outParsed.codes)) return false;
        }
    }
    return reader.Next() == kVlcListEnd && reader.IsEmpty();
}

void SetLink(std::size_t inIndex, std::int32_t inBits, VlcEntry& outEntry) {
    outEntry = {static_cast<std::int32_t>(inIndex), -inBits};
}
void SetLink(std::size_t inIndex, std::int32_t inBits, RunLevelEntry& outEntry) {
    outEntry = MakeRunLevelEntry(kRunLink, static_cast<std::int32_t>(inIndex), inBits);
}

template <typename Entry>
constexpr Entry kNoCode{};
template <>
constexpr RunLevelEntry kNoCode<RunLevelEntry> = MakeRunLevelEntry(kRunNoCode, 0, 0);

// Adds one stage to ioEntries for codes whose first inPassed bits are the same, and the stages behind it.
template <typename Entry>
bool AddStage(std::span<const Code<Entry>> inCodes, std::span<const std::int32_t> inStages,
              std::int32_t inPassed, std::vector<Entry>& ioEntries) {
    const std::size_t base = ioEntries.size();
    const std::int32_t bits = inStages.front();
    const std::size_t slots = std::size_t{1} << bits;
    if (base > kMaximumIndex) return false;
    ioEntries.resize(base + slots, kNoCode<Entry>);
    std::vector<std::vector<Code<Entry>>> longer(slots);
    for (const Code<Entry>& code : inCodes) {
        const std::int32_t rest = code.length - inPassed;
        const std::uint32_t rest_bits = code.bits & ((std::uint32_t{1} << rest) - 1);
        if (rest > bits) {
            longer[rest_bits >> (rest - bits)].push_back(code);
            continue;
        }
        const std::size_t first = base + (std::size_t{rest_bits} << (bits - rest));
        for (std::size_t at = first; at < first + (std::size_t{1} << (bits - rest)); ++at) {
            if (ioEntries[at] != kNoCode<Entry>) return false;
            ioEntries[at] = code.entry;
        }
    }
    for (std::size_t slot = 0; slot < slots; ++slot) {
        if (longer[slot].empty()) continue;
        if (ioEntries[base + slot] != kNoCode<Entry> || inStages.size() == 1) return false;
        SetLink(ioEntries.size(), inStages[1], ioEntries[base + slot]);
        if (!AddStage<Entry>(longer[slot], inStages.subspan(1), inPassed + bits, ioEntries)) return false;
    }
    return true;
}

template <typename Entry, typename Table>
PrimitiveStatus Build(VlcList inList, std::size_t inMostStages, Table& outTable) {
    outTable = {};
    ParsedList<Entry> parsed;
    if (!Parse(inList, parsed) || parsed.stages.size() > inMostStages) return PrimitiveStatus::BadTable;
    std::vector<Entry> entries;
    if (!AddStage<Entry>(parsed.codes, parsed.stages, 0, entries)) return PrimitiveStatus::BadTable;
    outTable = {std::move(entries), parsed.stages.front()};
    return PrimitiveStatus::Ok;
}

}  // namespace

PrimitiveStatus BuildVlcTable(VlcList inList, VlcTable& outTable) {
    return Build<VlcEntry>(inList, kMaximumLength, outTable);
}

PrimitiveStatus BuildRunLevelTable(VlcList inList, RunLevelTable& outTable) {
    return Build<RunLevelEntry>(inList, 2, outTable);
}

void FreeVlcTable(VlcTable& ioTable) {
    ioTable = {};
}

void FreeVlcTable(RunLevelTable& ioTable) {
    ioTable = {};
}

}  // namespace Vexmora
