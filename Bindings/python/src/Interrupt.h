// Progress of long work: told to Python, and ended by what Python's signal handlers raise.
#pragma once

#include <pybind11/pybind11.h>

#include "VexmoraHost/Movie.h"

namespace VexmoraPython {

/// Lets Ctrl-C end the work; calls inTold (done, total), unless it is None, whose answer False cancels. Used
/// by threads that do not hold the interpreter; inTold outlives the function.
inline VexmoraHost::Progress EndedBySignal(pybind11::handle inTold = {}) {
    return [inTold](std::uint64_t inDone, std::uint64_t inTotal) {
        const pybind11::gil_scoped_acquire acquired;
        if (PyErr_CheckSignals() != 0) throw pybind11::error_already_set();
        return !inTold || inTold.is_none() || !inTold(inDone, inTotal).is(pybind11::bool_(false));
    };
}

}  // namespace VexmoraPython
