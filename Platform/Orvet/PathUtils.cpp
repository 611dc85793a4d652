// Path arithmetic.
#include "Orvet/PathUtils.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>

#include "Vexmora/PathText.h"

namespace Orvet {
namespace {

constexpr char16_t kSeparator = u'/';

// Links count whether or not they lead anywhere: a new file cannot take their name.
bool NameIsTaken(const UTF16String& inPath) {
    struct stat status {};
    return lstat(PathUtils::ToNative(inPath).c_str(), &status) == 0;
}

}  // namespace

UTF16String PathUtils::FromNative(std::string_view inPath) {
    return Vexmora::ToUtf16Path(inPath);
}

std::string PathUtils::ToNative(const UTF16String& inPath) {
    return Vexmora::FromUtf16Path(inPath);
}

UTF16String PathUtils::AddTrailingSlash(const UTF16String& inPath) {
    return inPath.empty() || inPath.back() == kSeparator ? inPath : inPath + kSeparator;
}

UTF16String PathUtils::GetFilePart(const UTF16String& inPath) {
    const std::size_t separator = inPath.rfind(kSeparator);
    return separator == UTF16String::npos ? inPath : inPath.substr(separator + 1);
}

UTF16String PathUtils::ToNormalizedPath(const UTF16String& inPath) {
    return inPath;
}

bool PathUtils::IsNormalizedPath(const UTF16String&) {
    return false;
}

UTF16String PathUtils::MakeUniqueFilename(const UTF16String& inPath) {
    UTF16String candidate = inPath;
    const std::size_t filePart = inPath.size() - GetFilePart(inPath).size();
    const std::size_t dot = inPath.rfind(u'.');
    const std::size_t extension = dot == UTF16String::npos || dot <= filePart ? inPath.size() : dot;
    for (std::uint64_t number = 2; NameIsTaken(candidate); ++number) {
        const std::string suffix = " (" + std::to_string(number) + ")";
        candidate = inPath.substr(0, extension) + FromNative(suffix) + inPath.substr(extension);
    }
    return candidate;
}

UTF16String PathUtils::Win::StripUNC(const UTF16String& inPath) {
    return inPath;
}

}  // namespace Orvet
