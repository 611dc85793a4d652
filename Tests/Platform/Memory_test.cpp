// Recycled buffers, and what the processor supports.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "Orvet/MemoryRecycler.h"
#include "Orvet/SystemInfo.h"

using Orvet::MemoryRecycler;

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

TEST(MemoryRecycler, ReusesWhatFitsAndBoundsWhatItKeeps) {
    MemoryRecycler& recycler = MemoryRecycler::Instance();
    recycler.Trim();
    auto buffer = recycler.GetBuffer(16 * kMiB + 4095);
    EXPECT_GE(buffer.Size(), 16 * kMiB + 4095);
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(buffer.Data()) % 4096);
    std::memset(buffer.Data(), 1, buffer.Size());
    const std::byte* const first = buffer.Data();
    recycler.RecycleBuffer(std::move(buffer));

    EXPECT_NE(first, recycler.GetBuffer(17 * kMiB).Data()) << "too small";
    EXPECT_NE(first, recycler.GetBuffer(kMiB).Data()) << "would waste most of it";
    EXPECT_EQ(first, recycler.GetBuffer(16 * kMiB).Data());
    EXPECT_EQ(0U, recycler.KeptBytes()) << "a buffer dropped without recycling is freed";

    auto a = recycler.GetBuffer(30 * kMiB), b = recycler.GetBuffer(30 * kMiB),
         c = recycler.GetBuffer(40 * kMiB);
    recycler.RecycleBuffer(std::move(a));
    recycler.RecycleBuffer(std::move(b));
    EXPECT_EQ(60 * kMiB, recycler.KeptBytes());
    recycler.RecycleBuffer(std::move(c));
    EXPECT_EQ(40 * kMiB, recycler.KeptBytes()) << "both others had to go";
    recycler.RecycleBuffer(recycler.GetBuffer(MemoryRecycler::kMaxKeptBytes + 1));
    recycler.RecycleBuffer({});
    EXPECT_EQ(40 * kMiB, recycler.KeptBytes());
    recycler.Trim();
    EXPECT_EQ(0U, recycler.KeptBytes());
}

TEST(SystemInfo, AgreesWithTheSystem) {
    std::ifstream file("/proc/cpuinfo");
    std::string line, flags;
    while (std::getline(file, line)) {
        if (line.starts_with("flags")) flags = line + ' ';
    }
    EXPECT_EQ(flags.find(" avx ") != std::string::npos, Orvet::SystemInfo::ProcessorSupportsAVX());
    EXPECT_EQ(flags.find(" avx2 ") != std::string::npos, Orvet::SystemInfo::ProcessorSupportsAVX2());
}

}  // namespace
