// Who decodes when, under one lock that is given up while a picture is decoded.
#include "FrameCrew.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "Posix.h"

namespace VexmoraHost {
namespace {

struct Close {
    void operator()(Vexmora_InstanceTag* inHandle) const noexcept {
        static_cast<void>(Vexmora_CloseFile(inHandle));  // always succeeds
    }
};
using Handle = std::unique_ptr<Vexmora_InstanceTag, Close>;

// Two groups of pictures as most encoders make them, unless the pictures are large.
constexpr std::size_t kWindowBytes = std::size_t{64} << 20;
constexpr std::size_t kMostFrames = 32;
constexpr std::size_t kLeastFramesPerThread = 4;

// The worker that is no helper: they count from 1.
constexpr unsigned kCaller = 0;

std::uint32_t WindowFrames(const PictureLayout& inLayout, unsigned inThreads) {
    if (inThreads == 1) return 1;
    const std::size_t most = kWindowBytes / std::max<std::size_t>(inLayout.bytes, 1);
    return static_cast<std::uint32_t>(
        std::max(std::min(most, kMostFrames), inThreads * kLeastFramesPerThread));
}

}  // namespace

FrameRun::Crew::Crew(const FrameSource& inSource, FrameSpan inFrames, Scale inScale, unsigned inThreads,
                     OpenHandle inOpenHandle)
    : mSource(inSource),
      mDecoder(mSource, inScale),
      mOpenHandle(std::move(inOpenHandle)),
      mWindowFrames(WindowFrames(mDecoder.Maker().Layout(), inThreads)),
      mEnd(inFrames.first + inFrames.count),
      mNext(inFrames.first),
      mWindowEnd(inFrames.first),
      mPlan([this](std::int32_t inRecord) { return mDecoder.LookUp(inRecord); }) {
    if (inFrames.count > 1) StartHelpers(inThreads - 1);
}

FrameRun::Crew::~Crew() {
    {
        const std::scoped_lock lock(mMutex);
        mIsStopping = true;
    }
    mCanStart.notify_all();
    for (std::thread& helper : mHelpers) helper.join();
}

// Fewer than wanted, even none, only make the run slower.
void FrameRun::Crew::StartHelpers(unsigned inCount) {
    mHelpers.reserve(inCount);
    try {
        for (unsigned worker = 1; worker <= inCount; ++worker) {
            mHelpers.push_back(Posix::StartQuietThread([this, worker] { Help(worker); }));
        }
    } catch (const std::exception&) {
    }
}

SharedPicture FrameRun::Crew::Next() {
    std::unique_lock lock(mMutex);
    if (mFailure != nullptr) std::rethrow_exception(mFailure);
    try {
        MoveWindow();
        return TakeFirst(lock);
    } catch (...) {
        if (!lock.owns_lock()) lock.lock();
        mFailure = std::current_exception();
        throw;
    }
}

// Step 1.
void FrameRun::Crew::MoveWindow() {
    const std::uint32_t end = mNext + std::min(mWindowFrames, Left());
    for (; mWindowEnd < end; ++mWindowEnd) {
        const bool hasPictures = mDecoder.Maker().Layout().Macroblocks() > 0;
        mWindow.push_back(hasPictures ? mDecoder.Graph().RecordShownAt(mWindowEnd) : kNoRecord);
        if (mWindow.back() != kNoRecord) mPlan.Want(mWindow.back());
    }
}

SharedPicture FrameRun::Crew::TakeFirst(std::unique_lock<std::mutex>& ioLock) {
    const std::int32_t record = mWindow.front();
    SharedPicture picture;
    while (record != kNoRecord && (picture = mPlan.Find(record)) == nullptr) {
        if (mFailure != nullptr) std::rethrow_exception(mFailure);
        if (auto task = mPlan.Start(kCaller)) {
            Decode(mSource.handle, std::move(*task), ioLock);
        } else {
            mIsFinished.wait(ioLock);
        }
    }
    if (mPlan.CanStart()) mCanStart.notify_one();
    if (record != kNoRecord) mPlan.Release(record);
    mWindow.pop_front();
    const std::uint32_t frame = mNext++;
    return picture == nullptr || picture->frame == frame ? picture : StandInFor(picture);
}

// A helper without a handle leaves the work to the others.
void FrameRun::Crew::Help(unsigned inWorker) {
    std::unique_lock lock(mMutex, std::defer_lock);
    try {
        const Handle handle(mOpenHandle());
        if (handle == nullptr) return;
        lock.lock();
        for (;;) {
            mCanStart.wait(lock, [this] { return mIsStopping || mFailure != nullptr || mPlan.CanStart(); });
            if (mIsStopping || mFailure != nullptr) return;
            Decode(handle.get(), *mPlan.Start(inWorker), lock);
        }
    } catch (...) {
        if (!lock.owns_lock()) lock.lock();
        mFailure = std::current_exception();
        mIsFinished.notify_one();
    }
}

// Called with the lock held, which is given up while the picture is decoded.
void FrameRun::Crew::Decode(Vexmora_Handle inHandle, PictureTask inTask,
                            std::unique_lock<std::mutex>& ioLock) {
    if (mPlan.CanStart()) mCanStart.notify_one();
    ioLock.unlock();
    const SharedPicture picture = mDecoder.Maker().Make(inHandle, inTask);
    ioLock.lock();
    mPlan.Finish(inTask.record, picture);
    mIsFinished.notify_one();
}

}  // namespace VexmoraHost
