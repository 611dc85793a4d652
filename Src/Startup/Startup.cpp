// Start-up and shut-down: the processor variant is chosen and the executor made once, however often the host
// calls.
#include "Startup/Startup.h"

#include <cstdint>

#include "Contract/Contract.h"
#include "Orvet/CriticalSection.h"
#include "Orvet/SystemInfo.h"
#include "primitives/Variant.h"

namespace Vexmora {
namespace {

// Type codes of processors: two of the AVX class, the SSE4.2 class below them, and any 64-bit processor.
constexpr int kAvxClass = 0x46;
constexpr int kAvxClassWithoutVariant = 0x47;
constexpr int kSse42Class = 0x45;
constexpr int kBaselineClass = 0x20;

// Written under the lock; decoding reads the executor without it.
struct StartState {
    Orvet::CriticalSection lock;
    std::uint32_t count = 0;
    boost::shared_ptr<Pavlin::threads::AsyncExecutor> executor;
};
StartState gState;

bool Select(int inTypeCode) {
    return SelectProcessorVariant(inTypeCode) == SelectStatus::Selected;
}

// Whether a variant could be selected: the detected one, or else the baseline.
bool SelectVariant() {
    int typeCode = ProcessorTypeCode();
    const bool isAvxClass = typeCode == kAvxClass || typeCode == kAvxClassWithoutVariant;
    if (isAvxClass && !Orvet::SystemInfo::ProcessorSupportsAVX()) typeCode = kSse42Class;
    return (typeCode != 0 && Select(typeCode)) || Select(kBaselineClass);
}

}  // namespace

const boost::shared_ptr<Pavlin::threads::AsyncExecutor>& CpuExecutor() {
    return gState.executor;
}

void Startup() {
    const Orvet::CriticalSectionLock lock(gState.lock);
    if (gState.count == 0) {
        Check(SelectVariant(), contracts::kVariantSelected);
        gState.executor = Pavlin::threads::CreateCPUBoundExecutor();
    }
    ++gState.count;
}

void Shutdown() {
    boost::shared_ptr<Pavlin::threads::AsyncExecutor> released;  // its threads end outside the lock
    const Orvet::CriticalSectionLock lock(gState.lock);
    if (gState.count == 0) return;
    if (--gState.count == 0) released.swap(gState.executor);
}

}  // namespace Vexmora
