// Reads of one file that are done on a thread of their own while the caller goes on.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

#include "Orvet/File.h"

namespace Orvet {

class AsyncFileReader;
struct AsyncReadRequest;

/// Told how a request ended, on the reader's thread: inStatus is 0 when inBytesRead bytes are in the buffer
/// (fewer than asked only at the end of the file), negative when the read failed or was given up
/// (-ECANCELED). It may queue further requests; it must not close or destroy the reader. What it throws is
/// dropped.
using AsyncReadCompletion = void (*)(AsyncFileReader& ioReader, const AsyncReadRequest& inRequest,
                                     std::uint32_t inBytesRead, std::int32_t inStatus);

/// One read. The buffer stays the caller's and must live until the completion has been called.
struct AsyncReadRequest {
    std::uint64_t offset = 0;  ///< file position of the first byte
    std::uint32_t size = 0;    ///< bytes to read
    void* buffer = nullptr;
    AsyncReadCompletion completion = nullptr;      ///< not null
    std::array<std::uint64_t, 3> userValues = {};  ///< handed through to the completion
};

/// A file of its owner's and a thread that starts with the first request. Requests are done one at a time in
/// the order queued. QueueReadRequest may be called from any thread; Open and Close from one thread at a
/// time (a Close while others queue is fine). The destructor closes.
class AsyncFileReader {
  public:
    AsyncFileReader() = default;
    ~AsyncFileReader();
    AsyncFileReader(const AsyncFileReader&) = delete;
    AsyncFileReader& operator=(const AsyncFileReader&) = delete;

    /// Closes outReader, then has it read from inFile, whose position it leaves alone and which stays open
    /// until the reader is closed. 0, or -EBADF when inFile is closed.
    [[nodiscard]] static std::int32_t Open(const File& inFile, AsyncFileReader& outReader);

    /// Takes a request; 0 means that its completion will be called exactly once, negative (reader closed,
    /// no completion given, no memory or thread to be had) that it never will.
    [[nodiscard]] std::int32_t QueueReadRequest(const AsyncReadRequest& inRequest);

    /// Lets the read in progress end, completes every request still queued with -ECANCELED, and lets go of
    /// the file. No completion runs after it returns. Closing a closed reader does nothing.
    void Close() noexcept;

  private:
    void Run();
    void Complete(const AsyncReadRequest& inRequest, bool inCancelled);

    // Guards what follows, except that only the thread touches mFile while it runs.
    std::mutex mMutex;
    std::condition_variable mWake;
    std::deque<AsyncReadRequest> mRequests;
    bool mAccepting = false;
    std::thread mThread;
    const File* mFile = nullptr;
};

}  // namespace Orvet
