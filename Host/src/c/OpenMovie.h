// A movie as C programs share it among threads.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "VexmoraHost/Movie.h"
#include "c/Handles.h"

namespace VexmoraHost {

struct OpenMovie {
    explicit OpenMovie(Movie inMovie) : movie(std::move(inMovie)) {}

    /// Held for whatever decodes. What the movie tells of itself never changes.
    std::mutex decoding;
    Movie movie;
};

/// The movies that are open. Never destroyed: other threads may still use them when the process ends.
Handles<OpenMovie, vexmora_movie>& OpenMovies();

}  // namespace VexmoraHost
