// Starting a thread that the host need not know about.
#pragma once

#include <functional>
#include <thread>

namespace Orvet {

/// Starts a thread that runs inBody and leaves the process's signals to the host's threads: all are blocked
/// on it except those that report a fault of the thread itself. inBody must not throw. Throws
/// std::system_error or std::bad_alloc when no thread can be had.
std::thread StartBackgroundThread(std::function<void()> inBody);

}  // namespace Orvet
