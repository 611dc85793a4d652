// Pictures whose planes have not a byte to spare on one side: memory that nobody may touch begins there.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Vexmora/FileInfo.h"

namespace Vexmora::Test {

/// Where a plane touches the memory that nobody may touch. There is some on the other side, too, less than a
/// page away.
enum class Edge { Begin, End };

class GuardedPlane {
  public:
    GuardedPlane(std::size_t inBytes, Edge inEdge)
        : mBytes(inBytes), mUsedBytes((inBytes + PageBytes() - 1) / PageBytes() * PageBytes()) {
        void* const memory =
            mmap(nullptr, mUsedBytes + 2 * PageBytes(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(memory, MAP_FAILED);
        mPages = static_cast<std::uint8_t*>(memory);
        SetWritable(true);
        mData = mPages + PageBytes() + (inEdge == Edge::Begin ? 0 : mUsedBytes - mBytes);
    }
    ~GuardedPlane() { munmap(mPages, mUsedBytes + 2 * PageBytes()); }
    GuardedPlane(const GuardedPlane&) = delete;
    GuardedPlane& operator=(const GuardedPlane&) = delete;

    std::uint8_t* Data() const { return mData; }
    std::size_t Size() const { return mBytes; }
    void SetWritable(bool inIsWritable) {
        const int protection = PROT_READ | (inIsWritable ? PROT_WRITE : 0);
        EXPECT_EQ(mprotect(mPages + PageBytes(), mUsedBytes, protection), 0);
    }

  private:
    static std::size_t PageBytes() {
        static const auto kBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        return kBytes;
    }

    const std::size_t mBytes;
    const std::size_t mUsedBytes;  // whole pages
    std::uint8_t* mPages = nullptr;
    std::uint8_t* mData = nullptr;
};

/// The sizes of its planes are those that the library reports.
class GuardedPicture {
  public:
    GuardedPicture(std::uint32_t inLumaBytes, std::uint32_t inChromaBytes, Edge inEdge)
        : mPlanes{{{inLumaBytes, inEdge}, {inChromaBytes, inEdge}, {inChromaBytes, inEdge}}} {
        // Something to be predicted from, where nothing was decoded.
        static constexpr std::string_view kPattern = "Something uneven, of 37 samples a time";
        for (const GuardedPlane& plane : mPlanes) {
            for (std::size_t at = 0; at < plane.Size(); at += kPattern.size())
                std::memcpy(plane.Data() + at, kPattern.data(), std::min(kPattern.size(), plane.Size() - at));
        }
    }

    FramePlanes Planes() const { return {{mPlanes[0].Data(), mPlanes[1].Data(), mPlanes[2].Data()}}; }
    void SetWritable(bool inIsWritable) {
        for (GuardedPlane& plane : mPlanes) plane.SetWritable(inIsWritable);
    }
    std::size_t Hash() const {
        std::size_t hash = 0;
        for (const GuardedPlane& plane : mPlanes) {
            const std::string_view bytes(reinterpret_cast<const char*>(plane.Data()), plane.Size());
            hash = hash * 31 + std::hash<std::string_view>()(bytes);
        }
        return hash;
    }

    /// Damage may call for planes of any size: larger ones take too long for fuzzing. The largest widths and
    /// heights are still there, if not together.
    static bool IsTooLarge(std::uint32_t inLumaBytes) { return inLumaBytes > 600'000; }

  private:
    std::array<GuardedPlane, 3> mPlanes;
};

}  // namespace Vexmora::Test
