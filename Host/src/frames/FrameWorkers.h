// The threads that decode the frames of a run.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "VexmoraHost/FrameRun.h"
#include "frames/DecodePlan.h"
#include "frames/FrameDecoder.h"

namespace VexmoraHost {

/// Frames inFirst to inFirst + inCount - 1, all usable.
struct FrameSpan {
    std::uint32_t first;
    std::uint32_t count;
};

/// Decodes frames in display order and some frames ahead.
///
/// 1. A window of frames lies before the next one to be given. Every frame in it is wanted of the plan; it
///    moves with the calls of Next, and bounds the memory.
/// 2. Each helper decodes, with a reader of its own, whatever the plan lets start. So does the thread that
///    calls Next, with the source's reader, as long as its frame is not ready. Every picture is decoded by
///    one of them, and the library uses for it what processors they leave.
/// 3. Pictures are taken from the frame cache where it has them. It gets none: it would be flooded.
///
/// The window is short, for pictures are read again soonest from the processors' caches. But where each
/// picture is predicted from the one before, a thread that would be idle finds something to do only in the
/// next group of pictures: then the window reaches as far as it must, within a bound, and shortens again
/// afterwards.
class FrameRun::Workers {
  public:
    /// @param inSource  what it names outlives the workers.
    /// @param inThreads that decode, at least 1: the one that calls Next counts.
    Workers(const FrameSource& inSource, FrameSpan inFrames, Scale inScale, unsigned inThreads);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Frames that were not given yet.
    std::uint32_t Left() const { return mEnd - mNext; }
    /// The number of the next one.
    std::uint32_t NextFrame() const { return mNext; }
    /// The next frame of those that are left; null when it has no picture.
    SharedPicture Next();

  private:
    void StartHelpers(unsigned inCount);
    void Help();
    void MoveWindow();
    void LookFurther();
    SharedPicture TakeFirst(std::unique_lock<std::mutex>& ioLock);
    void Decode(PictureReader& ioReader, const PictureTask& inTask, std::unique_lock<std::mutex>& ioLock);

    const FrameSource mSource;
    const FrameDecoder mDecoder;
    const std::uint32_t mLeastWindow;  // frames
    const std::uint32_t mMostWindow;
    const std::uint32_t mEnd;
    std::uint32_t mNext;  // used by the thread that calls Next alone, as are the next two members
    std::uint32_t mWindowEnd;
    std::uint32_t mWindowFrames;

    std::mutex mMutex;  // guards what follows
    std::condition_variable mCanStart;
    std::condition_variable mIsFinished;
    DecodePlan mPlan;
    std::deque<std::int32_t> mWindow;  // the record that each frame shows, or kNoRecord
    std::exception_ptr mFailure;
    unsigned mIdle = 0;  // helpers that wait for something to start
    bool mIsStopping = false;
    std::vector<std::thread> mHelpers;
};

}  // namespace VexmoraHost
