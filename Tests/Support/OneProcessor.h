// Confining the process to one processor, so that the library decodes without other threads.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>

#include <cstddef>

namespace Vexmora::Test {

/// For a start-up of the library within its lifetime. The calling thread is confined.
class OneProcessor {
  public:
    OneProcessor() {
        EXPECT_EQ(sched_getaffinity(0, sizeof mAll, &mAll), 0);
        cpu_set_t one;
        CPU_ZERO(&one);
        for (std::size_t cpu = 0; CPU_COUNT(&one) == 0 && cpu < CPU_SETSIZE; ++cpu) {
            if (CPU_ISSET(cpu, &mAll)) CPU_SET(cpu, &one);
        }
        EXPECT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    }
    ~OneProcessor() { EXPECT_EQ(sched_setaffinity(0, sizeof mAll, &mAll), 0); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

  private:
    cpu_set_t mAll;
};

}  // namespace Vexmora::Test
