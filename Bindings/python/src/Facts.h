// What a movie tells of itself, as Python objects.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>

#include "OpenMovie.h"

namespace VexmoraPython {

/// Sizes, rates, colours and places by their names.
pybind11::dict InfoOf(const OpenMovie& inOpened);

/// The records of the index themselves, read-only; the array keeps the movie.
pybind11::array RecordsOf(const std::shared_ptr<OpenMovie>& inOpened);

/// Of the usable frames, 90 kHz, -1 where there is none. Reads the recording when that is asked for first.
pybind11::array PresentationTimesOf(OpenMovie& ioOpened);

}  // namespace VexmoraPython
