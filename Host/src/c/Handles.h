// The living objects of one kind, by the handles that C programs have of them.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "c/Answer.h"

namespace VexmoraHost {

/// Of all kinds. It never comes round: that takes centuries.
inline constinit std::atomic<std::uintptr_t> gLastHandle{0};
static_assert(sizeof gLastHandle == 8);

/// A handle is a number that is given once, whatever the kind: one of another kind, or of an object that is
/// gone, is not found, and never looked behind. Any thread may call any function. Objects live until their
/// last user has let go of them, which happens outside of the lock.
/// @tparam TagOf the incomplete type that handles of this kind point to for C's eyes.
template <typename ObjectOf, typename TagOf>
class Handles {
  public:
    using Shared = std::shared_ptr<ObjectOf>;

    /// @param inUnknown what the program is told about a handle that is not found.
    explicit Handles(Misuse inUnknown) : mUnknown(inUnknown) {}

    /// Throws std::bad_alloc.
    TagOf* Add(Shared inObject) {
        const std::uintptr_t number = ++gLastHandle;
        const std::scoped_lock lock(mMutex);
        mObjects.emplace(number, std::move(inObject));
        return reinterpret_cast<TagOf*>(number);  // NOLINT(performance-no-int-to-ptr): nobody follows it
    }

    /// Throws Misuse where the handle names nothing of this kind.
    Shared Find(const TagOf* inHandle) const {
        const std::scoped_lock lock(mMutex);
        const auto found = mObjects.find(reinterpret_cast<std::uintptr_t>(inHandle));
        if (found == mObjects.end()) throw mUnknown;
        return found->second;
    }

    /// Forgets the handle. Throws like Find.
    Shared Remove(const TagOf* inHandle) {
        const std::scoped_lock lock(mMutex);
        const auto found = mObjects.extract(reinterpret_cast<std::uintptr_t>(inHandle));
        if (found.empty()) throw mUnknown;
        return std::move(found.mapped());
    }

  private:
    const Misuse mUnknown;
    mutable std::mutex mMutex;
    std::unordered_map<std::uintptr_t, Shared> mObjects;  // guarded by mMutex
};

}  // namespace VexmoraHost
