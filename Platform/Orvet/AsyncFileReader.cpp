// The reader's queue and its thread.
#include "Orvet/AsyncFileReader.h"

#include <cerrno>
#include <new>
#include <system_error>

#include "Orvet/BackgroundThread.h"

namespace Orvet {

AsyncFileReader::~AsyncFileReader() {
    Close();
}

std::int32_t AsyncFileReader::Open(const File& inFile, AsyncFileReader& outReader) {
    outReader.Close();
    if (!inFile.IsOpen()) return -EBADF;
    const std::lock_guard lock(outReader.mMutex);
    outReader.mFile = &inFile;
    outReader.mAccepting = true;
    return 0;
}

std::int32_t AsyncFileReader::QueueReadRequest(const AsyncReadRequest& inRequest) {
    if (inRequest.completion == nullptr) return -EINVAL;
    const std::lock_guard lock(mMutex);
    if (!mAccepting) return -EBADF;
    try {
        if (!mThread.joinable()) mThread = StartBackgroundThread([this] { Run(); });
        mRequests.push_back(inRequest);
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    } catch (const std::system_error&) {
        return -EAGAIN;
    }
    mWake.notify_one();
    return 0;
}

void AsyncFileReader::Close() noexcept {
    std::thread thread;
    {
        const std::lock_guard lock(mMutex);
        mAccepting = false;
        thread.swap(mThread);
        mWake.notify_one();
    }
    if (thread.joinable()) thread.join();
    mFile = nullptr;
}

void AsyncFileReader::Run() {
    std::unique_lock lock(mMutex);
    for (;;) {
        mWake.wait(lock, [this] { return !mAccepting || !mRequests.empty(); });
        if (mRequests.empty()) return;
        const AsyncReadRequest request = mRequests.front();
        mRequests.pop_front();
        const bool cancelled = !mAccepting;
        lock.unlock();
        Complete(request, cancelled);
        lock.lock();
    }
}

void AsyncFileReader::Complete(const AsyncReadRequest& inRequest, bool inCancelled) {
    std::int32_t status = -ECANCELED;
    std::size_t got = 0;
    if (!inCancelled) status = mFile->ReadAt(inRequest.offset, inRequest.buffer, inRequest.size, got);
    try {
        inRequest.completion(*this, inRequest, static_cast<std::uint32_t>(got), status);
    } catch (...) {
        // There is no caller on this thread to tell, and the host's process must not end for it.
    }
}

}  // namespace Orvet
