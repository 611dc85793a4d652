// A fingerprint of bytes, for telling files apart.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

struct XXH3_state_s;

namespace VexmoraHost {

/// The 128-bit XXH3 hash of everything added, in order. It is made to catch accidents (torn, foreign, changed
/// files) at the speed of memory; it does not stand against somebody who constructs collisions.
class Hash128 {
  public:
    using Digest = std::array<std::uint8_t, 16>;

    /// Throws std::bad_alloc.
    Hash128();

    void Add(std::span<const std::byte> inBytes);
    /// Adds the eight bytes of a number, lowest first.
    void Add(std::uint64_t inNumber);
    /// The hash of what was added so far, in the library's canonical byte order.
    Digest Finish() const;

  private:
    struct FreeState {
        void operator()(XXH3_state_s* inState) const noexcept;
    };
    std::unique_ptr<XXH3_state_s, FreeState> mState;
};

}  // namespace VexmoraHost
