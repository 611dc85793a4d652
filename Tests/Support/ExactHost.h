// A host that hands out blocks of exactly the size asked for, so that AddressSanitizer sees one byte too far,
// and that fails on demand.
#pragma once

#include <cstdlib>

#include "Vexmora/HostServices.h"

namespace Vexmora::Test {

/// One at a time per process; one thread.
class ExactHost {
  public:
    enum class Fault { None, AllocateFails, NoHandle, AddressFails, NoAddress };

    explicit ExactHost(Fault inFault = Fault::None) {
        sFault = inFault;
        sLiveBlocks = sRequests = 0;
    }

    HostServices Services() const {
        static constexpr MemoryAllocatorTable kAllocator{nullptr, Allocate};
        static constexpr MemoryHandlesTable kHandles{Release, Address};
        HostServices services{};
        services.memoryAllocator = &kAllocator;
        services.memoryHandles = &kHandles;
        return services;
    }
    int LiveBlocks() const { return sLiveBlocks; }
    int Requests() const { return sRequests; }

  private:
    static std::int32_t Allocate(MemoryHandle* outBlock, std::uint32_t inKind, std::uint32_t inSize,
                                 std::uint32_t inAlignment) {
        ++sRequests;
        void* block = nullptr;
        if (sFault == Fault::AllocateFails || inKind != kMemoryKind) return -1;
        if (sFault == Fault::NoHandle) return 0;
        if (posix_memalign(&block, inAlignment, inSize) != 0) return -1;
        ++sLiveBlocks;
        *outBlock = reinterpret_cast<MemoryHandle>(block);
        return 0;
    }
    static void Release(MemoryHandle inBlock) {
        --sLiveBlocks;
        std::free(reinterpret_cast<void*>(inBlock));
    }
    static std::int32_t Address(MemoryHandle inBlock, std::uint32_t, std::uint8_t** outBytes) {
        if (sFault == Fault::AddressFails) return -1;
        if (sFault != Fault::NoAddress) *outBytes = reinterpret_cast<std::uint8_t*>(inBlock);
        return 0;
    }

    inline static Fault sFault;
    inline static int sLiveBlocks;
    inline static int sRequests;
};

}  // namespace Vexmora::Test
