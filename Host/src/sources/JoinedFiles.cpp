// Finding the file that holds a byte, and reading over the cuts.
#include "sources/JoinedFiles.h"

#include <algorithm>
#include <utility>

namespace VexmoraHost {

JoinedFiles::JoinedFiles(const std::vector<std::filesystem::path>& inPaths) {
    const auto files = std::make_shared<std::deque<Posix::InputFile>>();
    for (const std::filesystem::path& path : inPaths) {
        const Posix::InputFile& file = files->emplace_back(path);
        mBegins.push_back(mSize);
        mSize += file.Size();
    }
    mFiles = files;
}

JoinedFiles JoinedFiles::First(std::uint64_t inBytes) const {
    JoinedFiles first = *this;
    first.mSize = std::min(mSize, inBytes);
    return first;
}

JoinedFiles JoinedFiles::Watched(std::function<void(std::uint64_t)> inWatch) const {
    JoinedFiles watched = *this;
    watched.mWatch = std::move(inWatch);
    return watched;
}

void JoinedFiles::ExpectSequentialReads() const noexcept {
    for (const Posix::InputFile& file : *mFiles) file.ExpectSequentialReads();
}

std::size_t JoinedFiles::ReadAt(std::uint64_t inPosition, std::span<std::uint8_t> outBytes) const {
    if (inPosition >= mSize) return 0;
    if (mWatch) mWatch(inPosition);
    const std::size_t count = std::min<std::uint64_t>(outBytes.size(), mSize - inPosition);
    Place place = PlaceOf(inPosition);
    for (std::span<std::uint8_t> left = outBytes.first(count); !left.empty();
         place = {.file = place.file + 1, .offset = 0}) {
        const Posix::InputFile& file = (*mFiles)[place.file];
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
