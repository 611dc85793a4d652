// Finding the file that holds a byte, and reading over the cuts.
#include "sources/JoinedFiles.h"

#include <algorithm>

namespace VexmoraHost {

JoinedFiles::JoinedFiles(const std::vector<std::filesystem::path>& inPaths) {
    for (const std::filesystem::path& path : inPaths) {
        const Posix::InputFile& file = mFiles.emplace_back(path);
        file.ExpectSequentialReads();
        mBegins.push_back(mSize);
        mSize += file.Size();
    }
}

std::size_t JoinedFiles::ReadAt(std::uint64_t inPosition, std::span<std::uint8_t> outBytes) const {
    if (inPosition >= mSize) return 0;
    const std::size_t count = std::min<std::uint64_t>(outBytes.size(), mSize - inPosition);
    Place place = PlaceOf(inPosition);
    for (std::span<std::uint8_t> left = outBytes.first(count); !left.empty();
         place = {.file = place.file + 1, .offset = 0}) {
        const Posix::InputFile& file = mFiles[place.file];
        const std::size_t here = std::min<std::uint64_t>(left.size(), file.Size() - place.offset);
        file.ReadAt(place.offset, std::as_writable_bytes(left.first(here)));
        left = left.subspan(here);
    }
    return count;
}

JoinedFiles::Place JoinedFiles::PlaceOf(std::uint64_t inPosition) const {
    const auto behind = std::ranges::upper_bound(mBegins, inPosition);
    const auto file = static_cast<std::size_t>(behind - mBegins.begin()) - 1;
    return {.file = file, .offset = inPosition - mBegins[file]};
}

}  // namespace VexmoraHost
