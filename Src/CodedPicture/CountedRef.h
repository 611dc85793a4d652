// A counted reference: an object that lives as long as anyone refers to it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "Orvet/Allocator.h"

namespace Vexmora {

/// Refers to an object and to the count of references to it; the one that goes last destroys both. The count
/// changes atomically, so references to one object may be copied and dropped on several threads; a single
/// reference is one thread's at a time. The object itself is not guarded.
template <typename Object>
class CountedRef {
  public:
    /// Refers to nothing.
    CountedRef() = default;

    /// The first reference to a new object. Throws what the object's constructor throws, or std::bad_alloc.
    template <typename... Arguments>
    [[nodiscard]] static CountedRef Make(Arguments&&... inArguments) {
        auto object = std::make_unique<Object>(std::forward<Arguments>(inArguments)...);
        CountedRef made;
        made.mCount = new (Orvet::Allocator::Allocate(sizeof(Count))) Count{1};
        made.mObject = object.release();
        return made;
    }

    CountedRef(const CountedRef& inOther) noexcept : mCount(inOther.mCount), mObject(inOther.mObject) {
        if (mCount != nullptr) std::atomic_ref(*mCount).fetch_add(1, std::memory_order_relaxed);
    }
    CountedRef(CountedRef&& ioOther) noexcept
        : mCount(std::exchange(ioOther.mCount, nullptr)), mObject(std::exchange(ioOther.mObject, nullptr)) {}
    CountedRef& operator=(CountedRef inOther) noexcept {
        std::swap(mCount, inOther.mCount);
        std::swap(mObject, inOther.mObject);
        return *this;
    }
    ~CountedRef() {
        // The last release must see everything that was done through the references dropped before it.
        if (mCount == nullptr || std::atomic_ref(*mCount).fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        delete mObject;
        Orvet::Allocator::Free(mCount);
    }

    Object* Get() const { return mObject; }
    Object* operator->() const { return mObject; }
    Object& operator*() const { return *mObject; }
    explicit operator bool() const { return mObject != nullptr; }

  private:
    using Count = std::uint32_t;
    static_assert(sizeof(Count) == 4 && std::atomic_ref<Count>::is_always_lock_free);

    Count* mCount = nullptr;
    Object* mObject = nullptr;
};

}  // namespace Vexmora
