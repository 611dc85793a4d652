// A search for the start code and the identifier of the extension. Streams that have it have it throughout.
#include "frames/QuantMatrixProbe.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "system/Posix.h"

namespace VexmoraHost {
namespace {

constexpr std::uint64_t kSearchedBytes = std::uint64_t{2} << 20;
constexpr std::string_view kExtensionStartCode("\0\0\1\xB5", 4);
constexpr unsigned kQuantMatrixExtensionId = 3;

}  // namespace

bool HasPictureMatrices(const std::filesystem::path& inMedia, std::uint64_t inOffset) {
    const Posix::InputFile file(inMedia);
    const std::uint64_t offset = std::min(inOffset, file.Size());
    std::string bytes(std::min(file.Size() - offset, kSearchedBytes), '\0');
    file.ReadAt(offset, std::as_writable_bytes(std::span(bytes)));
    const std::string_view view(bytes);
    for (std::size_t at = view.find(kExtensionStartCode); at != view.npos;
         at = view.find(kExtensionStartCode, at + 1)) {
        const std::string_view identifier = view.substr(at + kExtensionStartCode.size(), 1);
        if (!identifier.empty() && static_cast<unsigned char>(identifier[0]) >> 4 == kQuantMatrixExtensionId)
            return true;
    }
    return false;
}

}  // namespace VexmoraHost
