// A lock that its owner may take again, and its scoped holder.
#pragma once

#include <mutex>

namespace Orvet {

/// Held by one thread at a time; that thread may take it again and releases it as often.
class CriticalSection {
  public:
    void Enter() { mMutex.lock(); }
    void Leave() noexcept { mMutex.unlock(); }

  private:
    std::recursive_mutex mMutex;
};

/// Holds a critical section for its lifetime.
class CriticalSectionLock {
  public:
    explicit CriticalSectionLock(CriticalSection& ioSection) : mSection(ioSection) { mSection.Enter(); }
    ~CriticalSectionLock() { mSection.Leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

  private:
    CriticalSection& mSection;
};

}  // namespace Orvet
