// Path arithmetic and the conversion between native bytes and UTF-16.
#include "Orvet/PathUtils.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>

namespace Orvet {
namespace {

constexpr char16_t kSeparator = u'/';
// A byte b that is not part of well-formed UTF-8 (0x80 <= b <= 0xFF) stands as kEscapeBase + b.
constexpr std::uint32_t kEscapeBase = 0xDC00;
constexpr std::uint32_t kFirstSupplementary = 0x10000;

bool IsLeadSurrogate(std::uint32_t inUnit) {
    return (inUnit & 0xFC00) == 0xD800;
}
bool IsTrailSurrogate(std::uint32_t inUnit) {
    return (inUnit & 0xFC00) == 0xDC00;
}
bool IsEscapedByte(std::uint32_t inUnit) {
    return inUnit >= kEscapeBase + 0x80 && inUnit <= kEscapeBase + 0xFF;
}

struct Decoded {
    std::uint32_t codePoint;
    std::size_t bytes;  // 0: not well-formed
};

// The well-formed UTF-8 sequence that begins at inAt: shortest form, no surrogate, at most U+10FFFF.
Decoded DecodeUTF8(std::string_view inText, std::size_t inAt) {
    const auto byteAt = [&](std::size_t inIndex) -> std::uint32_t {
        return static_cast<unsigned char>(inText[inIndex]);
    };
    const std::uint32_t first = byteAt(inAt);
    if (first < 0x80) return {first, 1};
    const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || inText.size() - inAt < bytes) return {0, 0};
    std::uint32_t codePoint = first & (0x7FU >> bytes);
    for (std::size_t index = 1; index < bytes; ++index) {
        const std::uint32_t byte = byteAt(inAt + index);
        if ((byte & 0xC0) != 0x80) return {0, 0};
        codePoint = codePoint << 6 | (byte & 0x3F);
    }
    constexpr std::uint32_t kLeastOfLength[5] = {0, 0, 0x80, 0x800, kFirstSupplementary};
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (codePoint < kLeastOfLength[bytes] || surrogate || codePoint > 0x10FFFF) return {0, 0};
    return {codePoint, bytes};
}

void AppendUTF8(std::string& ioText, std::uint32_t inCodePoint) {
    const auto put = [&](std::uint32_t inByte) { ioText += static_cast<char>(inByte); };
    if (inCodePoint < 0x80) {
        put(inCodePoint);
        return;
    }
    if (inCodePoint < 0x800) {
        put(0xC0 | inCodePoint >> 6);
    } else {
        if (inCodePoint < kFirstSupplementary) {
            put(0xE0 | inCodePoint >> 12);
        } else {
            put(0xF0 | inCodePoint >> 18);
            put(0x80 | (inCodePoint >> 12 & 0x3F));
        }
        put(0x80 | (inCodePoint >> 6 & 0x3F));
    }
    put(0x80 | (inCodePoint & 0x3F));
}

// Links count whether or not they lead anywhere: a new file cannot take their name.
bool NameIsTaken(const UTF16String& inPath) {
    struct stat status {};
    return lstat(PathUtils::ToNative(inPath).c_str(), &status) == 0;
}

}  // namespace

UTF16String PathUtils::FromNative(std::string_view inPath) {
    UTF16String text;
    text.reserve(inPath.size());
    for (std::size_t at = 0; at < inPath.size();) {
        const Decoded decoded = DecodeUTF8(inPath, at);
        if (decoded.bytes == 0) {
            text += static_cast<char16_t>(kEscapeBase + static_cast<unsigned char>(inPath[at]));
            ++at;
            continue;
        }
        if (decoded.codePoint < kFirstSupplementary) {
            text += static_cast<char16_t>(decoded.codePoint);
        } else {
            const std::uint32_t offset = decoded.codePoint - kFirstSupplementary;
            text += static_cast<char16_t>(0xD800 + (offset >> 10));
            text += static_cast<char16_t>(0xDC00 + (offset & 0x3FF));
        }
        at += decoded.bytes;
    }
    return text;
}

std::string PathUtils::ToNative(const UTF16String& inPath) {
    std::string text;
    text.reserve(inPath.size());
    for (std::size_t at = 0; at < inPath.size(); ++at) {
        const std::uint32_t unit = inPath[at];
        const std::uint32_t next = at + 1 < inPath.size() ? inPath[at + 1] : 0U;
        if (IsLeadSurrogate(unit) && IsTrailSurrogate(next)) {
            AppendUTF8(text, kFirstSupplementary + ((unit - 0xD800) << 10) + (next - 0xDC00));
            ++at;
        } else if (IsEscapedByte(unit)) {
            text += static_cast<char>(unit - kEscapeBase);
        } else {
            AppendUTF8(text, unit);
        }
    }
    return text;
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
