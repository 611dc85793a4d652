// A host whose every call may fail.
#pragma once

#include <atomic>

#include "Faults/FaultPlan.h"
#include "Support/TestHost.h"

namespace Vexmora::Test {

/// Calls that fail do so in two ways in turn: with a status, or with a success that brings nothing.
class FaultyHost : public TestHost {
  public:
    /// @param inCacheId 0: there is no block cache, and nothing is read ahead.
    FaultyHost(const std::filesystem::path& inFolder, std::uint32_t inCacheId)
        : TestHost(inFolder), mCacheId(inCacheId) {
        SetAround([](HostCall inCall, std::uint32_t inBytes, const std::function<std::int32_t()>& inBody) {
            // Of the blocks that a file is read in; buffers for a picture are smaller, or several of these.
            const int isBlock = inBytes == 0x12D000 ? 2 : 0;
            if (IsToFail(static_cast<Call>(static_cast<int>(inCall) + isBlock))) {
                return inCall < HostCall::CacheAdd && ++sFailures % 2 == 0 ? 0 : -1;
            }
            const HostCode host;
            return inBody();
        });
    }
    HostServices Services() const { return TestHost::Services(mCacheId); }

  private:
    static_assert(static_cast<int>(HostCall::Address) == static_cast<int>(Call::PictureAddress));
    static_assert(static_cast<int>(HostCall::FindIndex) == static_cast<int>(Call::FindIndex));

    const std::uint32_t mCacheId;
    inline static std::atomic<std::uint32_t> sFailures{0};
};

}  // namespace Vexmora::Test
