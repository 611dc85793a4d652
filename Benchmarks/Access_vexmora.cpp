// Visits frames of a file through the reference host and tells how long that took.
// Usage: access_vexmora FILE random|reverse|forward COUNT PICTURES-IN-CACHE INDEX-FOLDER
#include <cstdlib>
#include <exception>

#include "Access.h"
#include "VexmoraHost/Movie.h"

namespace {

using namespace VexmoraHost;

// Bytes of a picture's planes, with the lines that whole macroblocks add.
std::size_t PlaneBytes(const Picture& inPicture) {
    const auto bytes = [](const Plane& in, std::size_t inLines) {
        return std::size_t{in.stride} * ((in.height + inLines - 1) / inLines * inLines);
    };
    return bytes(inPicture.luma, 32) + bytes(inPicture.cb, 16) + bytes(inPicture.cr, 16);
}

}  // namespace

int main(int inArgumentCount, char** inArguments) try {
    if (inArgumentCount != 6) {
        std::fputs("usage: access_vexmora FILE random|reverse|forward COUNT PICTURES-IN-CACHE INDEX-FOLDER\n",
                   stderr);
        return 2;
    }
    Movie movie = Movie::Open(inArguments[1], {.indexDir = inArguments[5]});
    const auto pictures = static_cast<std::size_t>(std::atoi(inArguments[4]));
    const std::size_t budget = pictures * PlaneBytes(*movie.Frame(0));
    movie = Movie::Open(inArguments[1], {.indexDir = inArguments[5], .frameCacheBytes = budget});
    const auto frames = Vexmora::Benchmark::FramesToVisit(inArguments[2], std::atoi(inArguments[3]),
                                                          static_cast<int>(movie.Info().frameCount));
    Vexmora::Benchmark::MeasureAccess(
        frames, [&](int inFrame) { static_cast<void>(movie.Frame(static_cast<std::uint32_t>(inFrame))); });
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "access_vexmora: %s\n", error.what());
    return 1;
}
