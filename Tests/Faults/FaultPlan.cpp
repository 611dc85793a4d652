// The plan in force and its books, which any thread may write.
#include "Faults/FaultPlan.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <utility>

namespace Vexmora::Test {
namespace {

constexpr std::array<const char*, kCallKinds> kNames{
    "PictureMemory", "PictureAddress", "BlockMemory",   "BlockAddress", "CacheFind",   "CacheAdd",
    "IndexFolder",   "MediaIdentity",  "RegisterIndex", "FindIndex",    "FileOpen",    "FileFacts",
    "FileSeek",      "FileRead",       "FileWrite",     "FileFlush",    "ThreadStart", "Heap"};

// No heap here: its calls are among those that are counted.
struct Books {
    FaultPlan plan;
    std::atomic<bool> isArmed{false};
    std::atomic<std::uint32_t> step{0};
    std::array<std::atomic<std::uint32_t>, kCallKinds> counts{};
    std::array<InjectedFault, 4096> faults{};
    std::atomic<std::uint32_t> faultCount{0};
};
Books gBooks;

// The threads that the library starts begin with these values.
thread_local bool tIsLibrary = true;
thread_local bool tIsCaller = false;

// A number that seed, kind and count determine (the finaliser of a well-mixed 32-bit hash).
std::uint32_t Draw(std::uint32_t inSeed, Call inCall, std::uint32_t inCount) {
    std::uint32_t mixed = inSeed * 0x9E3779B1U ^ static_cast<std::uint32_t>(inCall) << 24 ^ inCount;
    for (const std::uint32_t factor : {0x7FEB352DU, 0x846CA68BU}) {
        mixed ^= mixed >> 16;
        mixed *= factor;
    }
    return (mixed ^ mixed >> 16) % 1'000'000;
}

}  // namespace

const char* NameOf(Call inCall) {
    return kNames.at(static_cast<std::size_t>(inCall));
}

FaultInjection::FaultInjection(const FaultPlan& inPlan) {
    tIsLibrary = false;
    tIsCaller = true;
    gBooks.plan = inPlan;
    gBooks.step = 0;
    gBooks.faultCount = 0;
    for (auto& count : gBooks.counts) count = 0;
    gBooks.isArmed = true;
}

FaultInjection::~FaultInjection() {
    gBooks.isArmed = false;
}

void FaultInjection::SetStep(std::uint32_t inStep) {
    gBooks.step = inStep;
}

std::vector<InjectedFault> FaultInjection::Faults() const {
    const auto count = std::min<std::size_t>(gBooks.faultCount, gBooks.faults.size());
    return {gBooks.faults.begin(), gBooks.faults.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::uint32_t FaultInjection::Count(Call inCall) const {
    return gBooks.counts.at(static_cast<std::size_t>(inCall));
}

CodeOwner::CodeOwner(bool inIsLibrary) : mBefore(std::exchange(tIsLibrary, inIsLibrary)) {}

CodeOwner::~CodeOwner() {
    tIsLibrary = mBefore;
}

bool IsToFail(Call inCall, bool inConcernsIndexFile) noexcept {
    if (!gBooks.isArmed || !tIsLibrary) return false;
    const FaultPlan& plan = gBooks.plan;
    const std::uint32_t count = ++gBooks.counts[static_cast<std::size_t>(inCall)];
    const bool isToFail = (inCall == plan.call && count == plan.number) ||
                          (plan.perMillion != 0 && Draw(plan.seed, inCall, count) < plan.perMillion);
    if (!isToFail) return false;
    if (const std::uint32_t place = gBooks.faultCount++; place < gBooks.faults.size()) {
        gBooks.faults[place] = {inCall, gBooks.step, inConcernsIndexFile, tIsCaller};
    }
    return true;
}

}  // namespace Vexmora::Test
