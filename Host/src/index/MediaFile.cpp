// Fingerprints media files by size, time and samples of their content.
#include "index/MediaFile.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "VexmoraHost/Error.h"
#include "index/Hash128.h"

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
    Sampler(const Posix::InputFile& inFile, Hash128& ioHash, std::uint64_t inMostBytes)
        : mFile(inFile), mHash(ioHash), mBytes(inMostBytes) {}

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

Guid IdentityOf(const Posix::InputFile& inFile) {
    const FileFacts facts = inFile.FactsNow();
    Hash128 hash;
    hash.Add(kIdentityRules);
    hash.Add(facts.bytes);
    hash.Add(facts.modified);
    const bool isSmall = facts.bytes <= kWholeFileBytes;
    Sampler sampler(inFile, hash, isSmall ? facts.bytes : kEndBytes);
    if (isSmall) {
        sampler.Add(0, facts.bytes);
    } else {
        const std::uint64_t between = facts.bytes - 2 * kEndBytes;
        sampler.Add(0, kEndBytes);
        for (std::uint64_t sample = 1; sample <= kSamples; ++sample) {
            // Dividing first keeps the product in range for any size.
            sampler.Add(kEndBytes + between / (kSamples + 1) * sample - kSampleBytes / 2, kSampleBytes);
        }
        sampler.Add(facts.bytes - kEndBytes, kEndBytes);
    }
    return Guid{hash.Finish()};
}

}  // namespace

Guid IdentifyMedia(const std::filesystem::path& inMedia) {
    return IdentityOf(Posix::InputFile(inMedia));
}

// File systems that tell fractions of a second have ticks of 10 ms and less, the others of up to 2 s.
bool FileFacts::AreSettled() const {
    using namespace std::chrono;
    const auto now = static_cast<std::uint64_t>(
        duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count());
    const nanoseconds tick = changed % nanoseconds(seconds(1)).count() != 0 ? milliseconds(50) : seconds(3);
    return changed <= now && now - changed > static_cast<std::uint64_t>(tick.count());
}

std::string ToText(const std::optional<FileFacts>& inFacts) {
    if (!inFacts) return {};
    std::string text;
    for (const std::uint64_t fact :
         {inFacts->device, inFacts->inode, inFacts->bytes, inFacts->modified, inFacts->changed}) {
        text += std::to_string(fact) + ' ';
    }
    return text;
}

MediaFile::MediaFile(std::filesystem::path inPath) : mPath(std::move(inPath)) {
    if (const auto facts = FactsOf(mPath)) {
        mFacts = *facts;
        mAreFactsSettled = mFacts.AreSettled();
    } else {
        Content();  // says why
    }
}

std::optional<FileFacts> MediaFile::SettledFacts() const {
    return mAreFactsSettled ? std::optional(mFacts) : std::nullopt;
}

// Another file may have got the name since its facts were taken: those of the open file hold.
const Posix::InputFile& MediaFile::Content() {
    if (!mContent) {
        mContent.emplace(mPath);
        mFacts = mContent->Facts();
        mAreFactsSettled = mFacts.AreSettled();
    }
    return *mContent;
}

const Guid& MediaFile::Identity() {
    if (!mIdentity) mIdentity = IdentityOf(Content());
    return *mIdentity;
}

void MediaFile::ConfirmContent() {
    if (IdentityOf(Content()) != Identity()) ThrowChanged();
}

void MediaFile::ConfirmPath() {
    if (FactsOf(mPath) == mFacts) return;
    if (IdentifyMedia(mPath) != Identity()) ThrowChanged();
}

void MediaFile::ThrowChanged() const {
    throw Error(Vexmora_Failure, mPath, "changed while it was being opened or indexed",
                "open it again when nothing writes to it any more");
}

}  // namespace VexmoraHost
