// The fingerprint, by the xxHash library.
#include "index/Hash128.h"

#include <xxhash.h>

#include <algorithm>
#include <iterator>
#include <new>

namespace VexmoraHost {

void Hash128::FreeState::operator()(XXH3_state_s* inState) const noexcept {
    XXH3_freeState(inState);
}

Hash128::Hash128() : mState(XXH3_createState()) {
    if (!mState) throw std::bad_alloc();
    XXH3_128bits_reset(mState.get());
}

void Hash128::Add(std::span<const std::byte> inBytes) {
    XXH3_128bits_update(mState.get(), inBytes.data(), inBytes.size());
}

void Hash128::Add(std::uint64_t inNumber) {
    std::array<std::byte, 8> bytes;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<std::byte>(inNumber >> (8 * index));
    }
    Add(bytes);
}

Hash128::Digest Hash128::Finish() const {
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(mState.get()));
    Digest digest;
    std::copy(std::begin(canonical.digest), std::end(canonical.digest), digest.begin());
    return digest;
}

}  // namespace VexmoraHost
