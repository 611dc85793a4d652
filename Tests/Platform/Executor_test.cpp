// The executor: every task once, in parallel, whatever the tasks throw and however many callers there are.
#include "Pavlin/Executor.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Support/OneProcessor.h"

using Pavlin::threads::CreateCPUBoundExecutor;
using Pavlin::threads::ExecuteCPUBoundTaskOnAllProcessors;

namespace {

TEST(Executor, RunsEveryTaskOnceWhateverTheyThrow) {
    const auto executor = CreateCPUBoundExecutor();
    for (const int count : {-1, 0, 1, 2, 3, 64, 1000}) {
        for (const bool throws : {false, true}) {
            std::vector<int> runs(static_cast<std::size_t>(std::max(count, 0)));
            const auto call = [&] {
                ExecuteCPUBoundTaskOnAllProcessors(
                    *executor,
                    [&](int inIndex) {
                        ++runs.at(static_cast<std::size_t>(inIndex));
                        if (throws && inIndex % 3 == 1) throw std::runtime_error("task failed");
                    },
                    count);
            };
            if (throws && count > 1) {
                EXPECT_THROW(call(), std::runtime_error);
            } else {
                EXPECT_NO_THROW(call());
            }
            EXPECT_EQ(std::vector<int>(runs.size(), 1), runs);
        }
    }
}

TEST(Executor, TasksRunSideBySideOnThreadsThatTakeNoSignals) {
    const auto executor = CreateCPUBoundExecutor();
    if (executor->ProcessorCount() < 2) GTEST_SKIP() << "one processor";
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<int> begun{0};
    std::atomic<int> pooled{0};
    ExecuteCPUBoundTaskOnAllProcessors(
        *executor,
        [&](int) {
            ++begun;
            // Only a task on another thread can end this wait.
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (begun != 2 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
            EXPECT_EQ(2, begun);
            if (std::this_thread::get_id() == caller) return;
            ++pooled;
            sigset_t mask;
            pthread_sigmask(SIG_BLOCK, nullptr, &mask);
            EXPECT_EQ(1, sigismember(&mask, SIGINT));
            EXPECT_EQ(0, sigismember(&mask, SIGSEGV)) << "faults reach the host's crash handler";
        },
        2);
    EXPECT_EQ(1, pooled);
}

TEST(Executor, CallersAndNestedCallsAllMakeProgress) {
    const auto executor = CreateCPUBoundExecutor();
    std::atomic<int> runs{0};
    const auto call = [&] {
        for (int round = 0; round < 100; ++round) {
            ExecuteCPUBoundTaskOnAllProcessors(
                *executor,
                [&](int) {
                    ExecuteCPUBoundTaskOnAllProcessors(
                        *executor, [&](int) { ++runs; }, 3);
                },
                4);
        }
    };
    std::vector<std::future<void>> callers;
    for (int caller = 0; caller < 4; ++caller) callers.push_back(std::async(std::launch::async, call));
    for (auto& caller : callers) caller.get();
    EXPECT_EQ(4 * 100 * 4 * 3, runs);
}

TEST(Executor, LeavesTheProcessorsToItsCallers) {
    const auto executor = CreateCPUBoundExecutor();
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    std::atomic<int> waiting{0};
    const auto wait = [&](int) {
        ++waiting;
        released.wait();
    };
    std::vector<std::future<void>> callers;
    for (int caller = 0; caller < executor->ProcessorCount(); ++caller) {
        callers.push_back(
            std::async(std::launch::async, [&] { ExecuteCPUBoundTaskOnAllProcessors(*executor, wait, 1); }));
    }
    while (waiting != executor->ProcessorCount()) std::this_thread::yield();
    std::atomic<int> elsewhere{0};
    const auto task = [&, own = std::this_thread::get_id()](int) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (std::this_thread::get_id() != own) ++elsewhere;
    };
    ExecuteCPUBoundTaskOnAllProcessors(*executor, task, 10);
    EXPECT_EQ(0, elsewhere);
    release.set_value();
    for (auto& caller : callers) caller.get();
}

int ProcessorsOfThisThread() {
    cpu_set_t mask;
    return sched_getaffinity(0, sizeof mask, &mask) == 0 ? CPU_COUNT(&mask) : 0;
}

TEST(Executor, KeepsToItsCreatorsProcessors) {
    const auto wide = CreateCPUBoundExecutor();
    EXPECT_EQ(ProcessorsOfThisThread(), wide->ProcessorCount());
    const Vexmora::Test::OneProcessor one;
    EXPECT_EQ(1, CreateCPUBoundExecutor()->ProcessorCount());

    // A caller confined to one processor must not confine the threads that its call starts.
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<int> narrow{0};
    ExecuteCPUBoundTaskOnAllProcessors(
        *wide,
        [&](int) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (std::this_thread::get_id() != caller && ProcessorsOfThisThread() != wide->ProcessorCount()) {
                ++narrow;
            }
        },
        20);
    EXPECT_EQ(0, narrow);
}

}  // namespace
