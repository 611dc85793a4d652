// Fingerprints media files by size, time and samples of their content.
#include "VexmoraHost/MediaIdentity.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "index/Hash128.h"
#include "system/Posix.h"

namespace VexmoraHost {
namespace {

// Part of every fingerprint, so that a change of the rules below gives every file another identity.
constexpr std::uint64_t kIdentityRules = 1;
constexpr std::uint64_t kWholeFileBytes = 1 << 20;
constexpr std::uint64_t kEndBytes = 64 << 10;
constexpr std::uint64_t kSampleBytes = 16 << 10;
constexpr std::uint64_t kSamples = 14;
static_assert(2 * kEndBytes + kSamples * kSampleBytes < kWholeFileBytes, "samples do not overlap");

class Sampler {
  public:
    Sampler(const Posix::InputFile& inFile, Hash128& ioHash)
        : mFile(inFile), mHash(ioHash), mBytes(kWholeFileBytes) {}

    void Add(std::uint64_t inOffset, std::uint64_t inBytes) {
        const auto bytes = std::span(mBytes).first(inBytes);
        mFile.ReadAt(inOffset, bytes);
        mHash.Add(bytes);
    }

  private:
    const Posix::InputFile& mFile;
    Hash128& mHash;
    std::vector<std::byte> mBytes;
};

}  // namespace

Guid IdentifyMedia(const std::filesystem::path& inMedia) {
    const Posix::InputFile file(inMedia);
    Hash128 hash;
    hash.Add(kIdentityRules);
    hash.Add(file.Size());
    hash.Add(static_cast<std::uint64_t>(file.ModifiedNanoseconds()));
    Sampler sampler(file, hash);
    if (file.Size() <= kWholeFileBytes) {
        sampler.Add(0, file.Size());
    } else {
        const std::uint64_t between = file.Size() - 2 * kEndBytes;
        sampler.Add(0, kEndBytes);
        for (std::uint64_t sample = 1; sample <= kSamples; ++sample) {
            // Dividing first keeps the product in range for any size.
            sampler.Add(kEndBytes + between / (kSamples + 1) * sample - kSampleBytes / 2, kSampleBytes);
        }
        sampler.Add(file.Size() - kEndBytes, kEndBytes);
    }
    return Guid{hash.Finish()};
}

}  // namespace VexmoraHost
