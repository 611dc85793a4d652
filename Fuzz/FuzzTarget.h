// What every fuzz target is made of: the choices that its input begins with, and the ways of doing the same
// thing.
//
// A target says what it checks with GoogleTest's expectations; one that does not hold ends the process, as
// does a contract that the library reports.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// Takes an input apart from its front; zeros when there is nothing left.
class Choices {
  public:
    explicit Choices(std::span<const std::uint8_t> inInput) : mLeft(inInput) {}

    std::uint8_t Byte() {
        if (mLeft.empty()) return 0;
        const std::uint8_t byte = mLeft.front();
        mLeft = mLeft.subspan(1);
        return byte;
    }
    std::size_t Below(std::size_t inLimit) { return Byte() % inLimit; }
    std::uint32_t Word() {
        const unsigned high = Byte();
        return high << 8 | Byte();
    }
    Bytes Rest() const { return {mLeft.begin(), mLeft.end()}; }

  private:
    std::span<const std::uint8_t> mLeft;
};

/// How the library is to work: from any of them the same must come out.
struct Way {
    std::size_t variant = 0;
    /// Pictures are split over the processors.
    bool isParallel = false;
};
inline constexpr std::size_t kWays = 12;
inline constexpr Way WayOf(std::size_t inNumber) {
    return {inNumber / 2, inNumber % 2 != 0};
}

/// Within its lifetime the library works in one way.
class WorkingIn {
  public:
    explicit WorkingIn(const Way& inWay);
    ~WorkingIn();
    WorkingIn(const WorkingIn&) = delete;
    WorkingIn& operator=(const WorkingIn&) = delete;

  private:
    const bool mIsStarted;
};

/// What a target does with one input.
void FuzzOne(Choices& ioChoices);

}  // namespace Vexmora::Test
