// Prints the mean luma of every frame of a recording, as a host's programmer would begin.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <numeric>

#include "VexmoraHost/Movie.h"

namespace {

double MeanOf(const VexmoraHost::Plane& inPlane) {
    std::uint64_t sum = 0;
    for (std::uint32_t line = 0; line < inPlane.height; ++line) {
        const std::uint8_t* const row = inPlane.samples + std::size_t{line} * inPlane.stride;
        sum = std::accumulate(row, row + inPlane.width, sum);
    }
    return static_cast<double>(sum) / (double{1} * inPlane.width * inPlane.height);
}

}  // namespace

int main(int inCount, char** inArguments) {
    if (inCount != 2) return std::fprintf(stderr, "usage: mean_luma RECORDING\n"), 2;
    try {
        auto movie = VexmoraHost::Movie::Open(inArguments[1]);  // indexes it the first time
        auto run = movie.Run(0, movie.Info().frameCount);       // several frames decoded at once
        for (unsigned frame = 0; const VexmoraHost::SharedPicture picture = run.Next(); ++frame)
            std::printf("%u %.2f%s\n", frame, MeanOf(picture->luma),
                        picture->damage.None() ? "" : " damaged");
    } catch (const std::exception& error) {
        return std::fprintf(stderr, "mean_luma: %s\n", error.what()), 1;
    }
}
