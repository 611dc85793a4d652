// Which calls of the library to its host and to the system are to fail, and which did.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace Vexmora::Test {

/// What the library asks of others. Memory for a picture's coded bytes and for blocks of the file are told
/// apart, since a failure means something else.
enum class Call : std::uint8_t {
    PictureMemory,
    PictureAddress,
    BlockMemory,
    BlockAddress,
    CacheFind,
    CacheAdd,
    IndexFolder,
    MediaIdentity,
    RegisterIndex,
    FindIndex,
    FileOpen,
    FileFacts,
    FileSeek,
    FileRead,
    FileWrite,
    FileFlush,
    ThreadStart,
    Heap,
};
inline constexpr std::size_t kCallKinds = 18;
const char* NameOf(Call inCall);

/// The number-th call of one kind fails; or any call with a probability.
struct FaultPlan {
    Call call = Call::Heap;
    std::uint32_t number = 0;      // from 1; 0: none
    std::uint32_t perMillion = 0;  // of every kind
    std::uint32_t seed = 0;
};

/// A call that failed.
struct InjectedFault {
    Call call;
    /// What the test was doing, as it said itself.
    std::uint32_t step;
    bool concernsIndexFile;
    /// False on the library's own threads.
    bool isOnCaller;
};

/// Counts the calls made while it lives and lets those of a plan fail. One at a time; the test's own calls,
/// on the thread that made it, do not count but inside a LibraryCode.
class FaultInjection {
  public:
    explicit FaultInjection(const FaultPlan& inPlan);
    ~FaultInjection();
    FaultInjection(const FaultInjection&) = delete;
    FaultInjection& operator=(const FaultInjection&) = delete;

    void SetStep(std::uint32_t inStep);
    std::vector<InjectedFault> Faults() const;
    std::uint32_t Count(Call inCall) const;
};

/// While one lives, the calls of this thread are the library's (or, for HostCode, not the library's).
class CodeOwner {
  public:
    CodeOwner(const CodeOwner&) = delete;
    CodeOwner& operator=(const CodeOwner&) = delete;

  protected:
    explicit CodeOwner(bool inIsLibrary);
    ~CodeOwner();

  private:
    const bool mBefore;
};
struct LibraryCode : CodeOwner {
    LibraryCode() : CodeOwner(true) {}
};
struct HostCode : CodeOwner {
    HostCode() : CodeOwner(false) {}
};

/// Asked once by every call before it does its work: whether it is to fail.
bool IsToFail(Call inCall, bool inConcernsIndexFile = false) noexcept;

/// Blocks of the heap that the program holds now.
std::int64_t LiveHeapBlocks() noexcept;

}  // namespace Vexmora::Test
