// Who decodes when, under one lock that is given up while a picture is decoded.
#include "frames/FrameWorkers.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "system/Posix.h"

namespace VexmoraHost {
namespace {

constexpr std::uint32_t kFramesPerThread = 4;

// Two groups of pictures as most encoders make them, unless the pictures are large.
constexpr std::uint32_t kMostFrames = 32;
constexpr std::size_t kMostBytes = std::size_t{64} << 20;

std::uint32_t LeastWindow(unsigned inThreads) {
    return inThreads == 1 ? 1 : kFramesPerThread * inThreads;
}

std::uint32_t MostWindow(std::size_t inPictureBytes, unsigned inThreads) {
    if (inThreads == 1) return 1;
    const std::size_t frames = kMostBytes / std::max<std::size_t>(inPictureBytes, 1);
    return std::max(static_cast<std::uint32_t>(std::min<std::size_t>(frames, kMostFrames)),
                    LeastWindow(inThreads));
}

}  // namespace

FrameRun::Workers::Workers(const FrameSource& inSource, FrameSpan inFrames, Scale inScale, unsigned inThreads)
    : mSource(inSource),
      mDecoder(mSource, inScale),
      mLeastWindow(LeastWindow(inThreads)),
      mMostWindow(MostWindow(mDecoder.Pictures().MostBytes(), inThreads)),
      mEnd(inFrames.first + inFrames.count),
      mNext(inFrames.first),
      mWindowEnd(inFrames.first),
      mWindowFrames(mLeastWindow),
      mPlan([this](std::int32_t inRecord) { return mDecoder.LookUp(inRecord); }) {
    if (inFrames.count > 1) StartHelpers(inThreads - 1);
}

FrameRun::Workers::~Workers() {
    {
        const std::scoped_lock lock(mMutex);
        mIsStopping = true;
    }
    mCanStart.notify_all();
    for (std::thread& helper : mHelpers) helper.join();
}

// Fewer than wanted, even none, only make the run slower.
void FrameRun::Workers::StartHelpers(unsigned inCount) {
    mHelpers.reserve(inCount);
    try {
        while (mHelpers.size() < inCount) mHelpers.push_back(Posix::StartQuietThread([this] { Help(); }));
    } catch (const std::exception&) {
    }
}

SharedPicture FrameRun::Workers::Next() {
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
void FrameRun::Workers::MoveWindow() {
    const std::uint32_t end = mNext + std::min(mWindowFrames, Left());
    for (; mWindowEnd < end; ++mWindowEnd) {
        mWindow.push_back(mDecoder.RecordShownAt(mWindowEnd));
        if (mWindow.back() != kNoRecord) mPlan.Want(mWindow.back());
    }
}

// Until there is something to start. The bound is taken back by one frame with each that is given.
void FrameRun::Workers::LookFurther() {
    while (!mPlan.CanStart() && mWindowFrames < mMostWindow && mWindowEnd < mEnd) {
        ++mWindowFrames;
        MoveWindow();
    }
}

SharedPicture FrameRun::Workers::TakeFirst(std::unique_lock<std::mutex>& ioLock) {
    const std::int32_t record = mWindow.front();
    SharedPicture picture;
    while (record != kNoRecord && (picture = mPlan.Find(record)) == nullptr) {
        if (mFailure != nullptr) std::rethrow_exception(mFailure);
        auto task = mPlan.Start();
        if (!task || mIdle > 0) LookFurther();
        if (!task) task = mPlan.Start();
        if (task) {
            Decode(mSource.reader, *task, ioLock);
        } else {
            mIsFinished.wait(ioLock);
        }
    }
    if (mPlan.CanStart()) mCanStart.notify_one();
    if (record != kNoRecord) mPlan.Release(record);
    mWindow.pop_front();
    mWindowFrames = std::max(mWindowFrames - 1, mLeastWindow);
    const std::uint32_t frame = mNext++;
    return picture == nullptr || picture->frame == frame ? picture : StandInFor(picture);
}

// A helper without a reader leaves the work to the others.
void FrameRun::Workers::Help() {
    std::unique_lock lock(mMutex, std::defer_lock);
    try {
        const auto reader = mSource.media.OpenReader();
        if (reader == nullptr) return;
        lock.lock();
        for (;;) {
            ++mIdle;
            mCanStart.wait(lock, [this] { return mIsStopping || mFailure != nullptr || mPlan.CanStart(); });
            --mIdle;
            if (mIsStopping || mFailure != nullptr) return;
            Decode(*reader, *mPlan.Start(), lock);
        }
    } catch (...) {
        if (!lock.owns_lock()) lock.lock();
        mFailure = std::current_exception();
        mIsFinished.notify_one();
    }
}

// Called with the lock held, which is given up while the picture is decoded.
void FrameRun::Workers::Decode(PictureReader& ioReader, const PictureTask& inTask,
                               std::unique_lock<std::mutex>& ioLock) {
    if (mPlan.CanStart()) mCanStart.notify_one();
    ioLock.unlock();
    const SharedPicture picture = mDecoder.Pictures().Make(ioReader, inTask);
    ioLock.lock();
    mPlan.Finish(inTask.record, picture);
    mIsFinished.notify_one();
}

}  // namespace VexmoraHost
