// Where exceptions end: what the C interface's functions answer, and remember of what they threw.
#pragma once

#include "vexmora.h"

namespace VexmoraHost {

/// Thrown by the C interface itself when it is used in a way that it does not allow. The texts are literals.
struct Misuse {
    vexmora_status status;
    const char* problem;
    const char* advice;
};

/// Turns the exception that is being handled into a status, and remembers it for the calling thread.
vexmora_status AnswerOfException() noexcept;

/// What inWork answers; nothing that it throws comes out.
template <typename WorkOf>
vexmora_status Answer(WorkOf inWork) noexcept {
    try {
        return inWork();
    } catch (...) {
        return AnswerOfException();
    }
}

}  // namespace VexmoraHost
