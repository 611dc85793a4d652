// Names, facts and fingerprints of several files.
#include "sources/Recording.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "VexmoraHost/Error.h"
#include "index/Hash128.h"

namespace VexmoraHost {
namespace {

// Part of every fingerprint, so that a change of what the tables hold gives every recording another identity.
constexpr std::uint64_t kTablesRules = 1;
constexpr std::uint64_t kNotChosen = 0x10000;

std::uint64_t ToNumber(const std::optional<std::uint16_t>& inChoice) {
    return inChoice ? *inChoice : kNotChosen;
}

}  // namespace

Recording::Recording(std::vector<std::filesystem::path> inPaths, const VideoChoice& inChoice)
    : mPaths(std::move(inPaths)), mChoice(inChoice) {
    for (const std::filesystem::path& path : mPaths) {
        const auto facts = FactsOf(path);
        mFacts.push_back(facts && facts->AreSettled() ? facts : std::nullopt);
    }
}

RegistryMedia Recording::Key() const {
    RegistryMedia key;
    for (const std::filesystem::path& path : mPaths) key.path += path.native() + '\n';
    key.path += std::to_string(ToNumber(mChoice.program)) + ' ' + std::to_string(ToNumber(mChoice.pid));
    if (std::ranges::all_of(mFacts, &std::optional<FileFacts>::has_value)) {
        for (const auto& facts : mFacts) key.facts += ToText(facts);
    }
    return key;
}

const Guid& Recording::Identity() {
    if (!mIdentity) mIdentity = IdentityNow();
    return *mIdentity;
}

Guid Recording::IdentityNow() const {
    Hash128 hash;
    hash.Add(kTablesRules);
    for (const std::filesystem::path& path : mPaths) {
        const Guid identity = IdentifyMedia(path);
        hash.Add(std::as_bytes(std::span(&identity, 1)));
    }
    hash.Add(ToNumber(mChoice.program));
    hash.Add(ToNumber(mChoice.pid));
    return Guid{hash.Finish()};
}

const std::shared_ptr<const JoinedFiles>& Recording::Files() {
    if (mFiles == nullptr) mFiles = std::make_shared<const JoinedFiles>(mPaths);
    return mFiles;
}

void Recording::ConfirmContent() const {
    if (mIdentity && IdentityNow() == *mIdentity) return;
    throw Error(Vexmora_Failure, Path(), "changed while it was being opened or indexed",
                "open it again when nothing writes to it any more");
}

}  // namespace VexmoraHost
