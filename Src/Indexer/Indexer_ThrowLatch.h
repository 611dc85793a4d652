// Remembers that an exception broke off an object's work.
#pragma once

#include "Vexmora/Status.h"

namespace Vexmora {

/// Stands between an object and its caller: what an exception left half done is not gone on with.
class ThrowLatch {
  public:
    /// The status of inBody, whose exceptions pass through. Once one has, Vexmora_Failure, and nothing is
    /// run.
    template <typename Body>
    [[nodiscard]] Vexmora_Status Run(Body&& inBody) {
        if (mHasThrown) return Vexmora_Failure;
        mHasThrown = true;  // unless the body returns
        const Vexmora_Status status = inBody();
        mHasThrown = false;
        return status;
    }

  private:
    bool mHasThrown = false;
};

}  // namespace Vexmora
