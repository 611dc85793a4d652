// The pool: callers post jobs, and take part in their own; threads take the tasks of the oldest job, as long
// as there is a processor for them besides those on which callers work.
#include "Pavlin/Executor.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Orvet/BackgroundThread.h"

namespace Pavlin::threads {
namespace {

// A processor set as large as this machine needs.
class AffinityMask {
  public:
    // The mask of the calling thread.
    AffinityMask() {
        constexpr std::size_t kMostSets = 1024;  // a million processors: stop asking for more room
        for (std::size_t sets = 1; sets <= kMostSets; sets *= 2) {
            mSets.assign(sets, cpu_set_t{});
            if (sched_getaffinity(0, Bytes(), mSets.data()) == 0) return;
            if (errno != EINVAL)
                break;  // EINVAL: the machine has more processors than the sets have room for
        }
        mSets.clear();
    }

    int Count() const { return mSets.empty() ? 1 : std::max(1, CPU_COUNT_S(Bytes(), mSets.data())); }

    // Confines the calling thread to the mask; it runs where it may when that is not possible (any more).
    void Apply() const {
        if (!mSets.empty()) pthread_setaffinity_np(pthread_self(), Bytes(), mSets.data());
    }

  private:
    std::size_t Bytes() const { return mSets.size() * sizeof(cpu_set_t); }
    std::vector<cpu_set_t> mSets;
};

// One call of ExecuteCPUBoundTaskOnAllProcessors; lives on the caller's stack. Guarded by the pool's mutex.
struct Job {
    const boost::function<void(int)>& task;
    const int count;
    int next = 0;   // the first task that nobody has taken
    int ended = 0;  // tasks that have run
    std::exception_ptr failure = nullptr;
    std::condition_variable allEnded = {};
};

}  // namespace

class AsyncExecutor::Pool {
  public:
    ~Pool();
    int ProcessorCount() const { return mProcessorCount; }
    void Execute(const boost::function<void(int)>& inTask, int inCount);

  private:
    void StartThreads(int inCount);
    void Run();
    void RunNextTask(Job& ioJob, std::unique_lock<std::mutex>& ioLock);

    const AffinityMask mAffinity;
    const int mProcessorCount = mAffinity.Count();
    std::mutex mMutex;  // guards what follows and every Job
    std::condition_variable mWork;
    std::deque<Job*> mJobs;  // those that still have tasks to take, oldest first
    int mRunning = 0;        // tasks, on callers and on threads
    bool mStopping = false;
    std::vector<std::thread> mThreads;
};

AsyncExecutor::Pool::~Pool() {
    {
        const std::lock_guard lock(mMutex);
        mStopping = true;
    }
    mWork.notify_all();
    for (std::thread& thread : mThreads) thread.join();
}

void AsyncExecutor::Pool::Execute(const boost::function<void(int)>& inTask, int inCount) {
    if (inCount < 1) return;
    Job job{inTask, inCount};
    std::unique_lock lock(mMutex);
    const int helpers = std::max(0, std::min(inCount, mProcessorCount - mRunning) - 1);
    StartThreads(helpers);
    mJobs.push_back(&job);
    for (int helper = 0; helper < helpers; ++helper) mWork.notify_one();
    while (job.next < job.count) RunNextTask(job, lock);
    job.allEnded.wait(lock, [&] { return job.ended == job.count; });
    lock.unlock();
    if (job.failure) std::rethrow_exception(job.failure);
}

// Called with the mutex held. Fewer threads than wanted, even none, only make the work slower.
void AsyncExecutor::Pool::StartThreads(int inCount) {
    try {
        while (mThreads.size() < static_cast<std::size_t>(inCount)) {
            mThreads.reserve(mThreads.size() + 1);
            mThreads.push_back(Orvet::StartBackgroundThread([this] { Run(); }));
        }
    } catch (const std::exception&) {
    }
}

void AsyncExecutor::Pool::Run() {
    mAffinity.Apply();
    std::unique_lock lock(mMutex);
    for (;;) {
        mWork.wait(lock, [this] { return mStopping || (!mJobs.empty() && mRunning < mProcessorCount); });
        if (mStopping) return;
        RunNextTask(*mJobs.front(), lock);
    }
}

// Called with the mutex held, which is given up while the task runs. The job must have a task left to take;
// it may be gone afterwards, unless the caller owns it.
void AsyncExecutor::Pool::RunNextTask(Job& ioJob, std::unique_lock<std::mutex>& ioLock) {
    const int index = ioJob.next++;
    if (ioJob.next == ioJob.count) std::erase(mJobs, &ioJob);
    ++mRunning;
    ioLock.unlock();
    std::exception_ptr failure;
    try {
        ioJob.task(index);
    } catch (...) {
        failure = std::current_exception();
    }
    ioLock.lock();
    --mRunning;
    if (failure && !ioJob.failure) ioJob.failure = std::move(failure);
    // Told under the lock: the job's owner cannot leave, and end the job, before it is released.
    if (++ioJob.ended == ioJob.count) ioJob.allEnded.notify_one();
}

AsyncExecutor::AsyncExecutor() : mPool(std::make_unique<Pool>()) {}

AsyncExecutor::~AsyncExecutor() = default;

int AsyncExecutor::ProcessorCount() const {
    return mPool->ProcessorCount();
}

boost::shared_ptr<AsyncExecutor> CreateCPUBoundExecutor() {
    return boost::shared_ptr<AsyncExecutor>(new AsyncExecutor);
}

void ExecuteCPUBoundTaskOnAllProcessors(AsyncExecutor& ioExecutor, const boost::function<void(int)>& inTask,
                                        int inCount) {
    ioExecutor.mPool->Execute(inTask, inCount);
}

}  // namespace Pavlin::threads
