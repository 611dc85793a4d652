// Random numbers that are the same with every standard library.
#pragma once

#include <cstdint>
#include <random>

#include "Support/Options.h"

namespace Vexmora::Test {

class Random {
  public:
    /// From VEXMORA_SEED, which is printed.
    Random() : Random(Option("VEXMORA_SEED", 1)) {}
    explicit Random(std::uint32_t inSeed) : mEngine(inSeed) {}

    int Between(int inLeast, int inMost) {
        return inLeast + static_cast<int>(mEngine() % static_cast<std::uint32_t>(inMost - inLeast + 1));
    }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(mEngine()); }
    bool OneIn(int inCount) { return Between(1, inCount) == 1; }

  private:
    std::mt19937 mEngine;
};

}  // namespace Vexmora::Test
