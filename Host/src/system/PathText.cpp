// UTF-8 with stray bytes to UTF-16 and back, without loss.
#include "system/PathText.h"

#include <cstddef>
#include <string>

namespace VexmoraHost {
namespace {

constexpr char32_t kEscapeBase = 0xDC00;  // a stray byte 0x80 to 0xFF is the lone surrogate at this + byte
constexpr char32_t kHighSurrogates = 0xD800;
constexpr char32_t kLowSurrogates = 0xDC00;
constexpr char32_t kSurrogatesEnd = 0xE000;
constexpr char32_t kSupplementary = 0x10000;

constexpr bool IsHigh(char32_t inUnit) {
    return inUnit >= kHighSurrogates && inUnit < kLowSurrogates;
}
constexpr bool IsLow(char32_t inUnit) {
    return inUnit >= kLowSurrogates && inUnit < kSurrogatesEnd;
}

struct Character {
    char32_t code;
    std::size_t bytes;
};

// The character at the start of inText, which is not empty; a stray byte is its escape.
Character DecodeUtf8(std::string_view inText) {
    const auto byteAt = [inText](std::size_t inIndex) { return static_cast<unsigned char>(inText[inIndex]); };
    const unsigned char lead = byteAt(0);
    if (lead < 0x80) return {lead, 1};
    const Character stray{kEscapeBase + lead, 1};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || inText.size() < bytes) return stray;
    char32_t code = lead & (0x7Fu >> bytes);
    for (std::size_t index = 1; index < bytes; ++index) {
        if ((byteAt(index) & 0xC0) != 0x80) return stray;
        code = code << 6 | (byteAt(index) & 0x3Fu);
    }
    const bool overlong = (bytes == 3 && code < 0x800) || (bytes == 4 && code < kSupplementary);
    if (overlong || IsHigh(code) || IsLow(code) || code > 0x10FFFF) return stray;
    return {code, bytes};
}

void AppendUtf8(std::string& ioText, char32_t inCode) {
    const auto append = [&ioText](char32_t inByte) { ioText += static_cast<char>(inByte); };
    if (inCode < 0x80) {
        append(inCode);
    } else if (inCode < 0x800) {
        append(0xC0 | inCode >> 6);
        append(0x80 | (inCode & 0x3F));
    } else if (inCode < kSupplementary) {
        append(0xE0 | inCode >> 12);
        append(0x80 | (inCode >> 6 & 0x3F));
        append(0x80 | (inCode & 0x3F));
    } else {
        append(0xF0 | inCode >> 18);
        append(0x80 | (inCode >> 12 & 0x3F));
        append(0x80 | (inCode >> 6 & 0x3F));
        append(0x80 | (inCode & 0x3F));
    }
}

}  // namespace

UTF16String ToInterfacePath(const std::filesystem::path& inPath) {
    std::string_view rest = inPath.native();
    UTF16String text;
    text.reserve(rest.size());
    while (!rest.empty()) {
        const Character character = DecodeUtf8(rest);
        rest.remove_prefix(character.bytes);
        if (character.code < kSupplementary) {
            text += static_cast<char16_t>(character.code);
        } else {
            const char32_t offset = character.code - kSupplementary;
            text += static_cast<char16_t>(kHighSurrogates + (offset >> 10));
            text += static_cast<char16_t>(kLowSurrogates + (offset & 0x3FF));
        }
    }
    return text;
}

std::filesystem::path FromInterfacePath(std::u16string_view inText) {
    std::string path;
    path.reserve(inText.size());
    for (std::size_t at = 0; at < inText.size(); ++at) {
        const char32_t unit = inText[at];
        if (IsHigh(unit) && at + 1 < inText.size() && IsLow(inText[at + 1])) {
            const char32_t low = inText[++at];
            AppendUtf8(path, kSupplementary + ((unit - kHighSurrogates) << 10) + (low - kLowSurrogates));
        } else if (unit >= kEscapeBase + 0x80 && unit <= kEscapeBase + 0xFF) {
            path += static_cast<char>(unit - kEscapeBase);
        } else {
            AppendUtf8(path, unit);
        }
    }
    return path;
}

}  // namespace VexmoraHost
