// The threads on which the picture decode runs its slice tasks.
#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <memory>

namespace Pavlin::threads {

/// A pool of threads for tasks that compute and do not wait. Its threads start when they are first needed,
/// run on the processors its creator could use, and take no asynchronous signals. Destroy it outside its
/// tasks.
class AsyncExecutor {
  public:
    ~AsyncExecutor();
    AsyncExecutor(const AsyncExecutor&) = delete;
    AsyncExecutor& operator=(const AsyncExecutor&) = delete;

    /// Processors that tasks are spread over: those in the affinity mask of the thread that created the
    /// executor, at least 1. Constant for the executor's life.
    int ProcessorCount() const;

  private:
    friend boost::shared_ptr<AsyncExecutor> CreateCPUBoundExecutor();
    friend void ExecuteCPUBoundTaskOnAllProcessors(AsyncExecutor&, const boost::function<void(int)>&, int);
    AsyncExecutor();
    class Pool;
    std::unique_ptr<Pool> mPool;
};

/// A new executor; its threads end when the last reference goes.
boost::shared_ptr<AsyncExecutor> CreateCPUBoundExecutor();

/// Runs inTask(0) to inTask(inCount - 1), several at once, on the executor's threads and the calling one, and
/// returns when all have ended; inTask is called from several threads at a time. If tasks throw, the others
/// still run and the first exception is thrown on. Any number of threads may call at once, tasks included;
/// each caller does its own tasks when no thread is free, also when none could be started, or when callers
/// keep all processors busy.
void ExecuteCPUBoundTaskOnAllProcessors(AsyncExecutor& ioExecutor, const boost::function<void(int)>& inTask,
                                        int inCount);

}  // namespace Pavlin::threads
