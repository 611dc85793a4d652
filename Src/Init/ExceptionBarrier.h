// The wall between exceptions inside the library and the host.
#pragma once

#include <utility>

#include "Vexmora/Status.h"

namespace Vexmora {

/// Runs inBody, which returns a status. Whatever it throws becomes Vexmora_Failure.
template <typename Body>
Vexmora_Status BehindBarrier(Body&& inBody) noexcept {
    try {
        return std::forward<Body>(inBody)();
    } catch (...) {
        return Vexmora_Failure;
    }
}

}  // namespace Vexmora
