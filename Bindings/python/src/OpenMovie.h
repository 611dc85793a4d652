// A movie as the threads of a Python program share it.
#pragma once

#include <pybind11/pybind11.h>

#include <mutex>
#include <utility>

#include "VexmoraHost/Movie.h"

namespace VexmoraPython {

struct OpenMovie {
    explicit OpenMovie(VexmoraHost::Movie inMovie) : movie(std::move(inMovie)) {}

    std::mutex decoding;
    VexmoraHost::Movie movie;
};

/// Does work that other Python threads go on beside. Whoever waits for a movie has let go of the interpreter
/// before, so that a callback of who works with it can have that.
template <typename Work>
auto Apart(const Work& inWork) {
    const pybind11::gil_scoped_release released;
    return inWork();
}
template <typename Work>
auto ApartWith(OpenMovie& ioOpened, const Work& inWork) {
    const pybind11::gil_scoped_release released;
    const std::scoped_lock lock(ioOpened.decoding);
    return inWork(ioOpened.movie);
}

}  // namespace VexmoraPython
