// Paths as the interface spells them, and as Linux does: UTF-16 and bytes, which are UTF-8 or anything else.
//
// A path on Linux is any bytes. Those that are well-formed UTF-8 become the same text in UTF-16. A byte b of
// 0x80 and above that is part of no well-formed sequence becomes the lone surrogate U+DC00 + b, which no text
// has: so every path survives the way there and back, and different paths stay different.
//
//     bytes           UTF-16
//     61              0061          a character of one byte
//     c3 a9           00e9          of two
//     f0 9f 8e ac     d83c dfac     of four: a pair of surrogates
//     e9              dce9          a stray byte, here an e acute in Latin-1
//     c0 af           dcc0 dcaf     not the shortest form: stray bytes
//
//     Vexmora_OpenFile(Vexmora::ToUtf16Path(path.native()), services, &handle, nullptr, false);
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Vexmora/UTF16String.h"

namespace Vexmora {

namespace PathText {

/// The first codes of both kinds of surrogates, the first behind them, and the first that takes two units.
inline constexpr char32_t kHighSurrogates = 0xD800;
inline constexpr char32_t kLowSurrogates = 0xDC00;
inline constexpr char32_t kSurrogatesEnd = 0xE000;
inline constexpr char32_t kSupplementary = 0x10000;
/// A stray byte stands as this + byte.
inline constexpr char32_t kStrayBytes = kLowSurrogates;

/// The first unit of a pair, U+D800 to U+DBFF.
constexpr bool IsHigh(char32_t inUnit) {
    return inUnit >= kHighSurrogates && inUnit < kLowSurrogates;
}
/// The second unit of a pair, U+DC00 to U+DFFF.
constexpr bool IsLow(char32_t inUnit) {
    return inUnit >= kLowSurrogates && inUnit < kSurrogatesEnd;
}
/// A unit that stands for one byte of a path, U+DC80 to U+DCFF, where no first unit is in front of it.
constexpr bool IsStrayByte(char32_t inUnit) {
    return inUnit >= kStrayBytes + 0x80 && inUnit <= kStrayBytes + 0xFF;
}

/// A character, or a stray byte as it stands, and the bytes that it takes.
struct Character {
    char32_t code;
    std::size_t bytes;
};

/// The first one of inText, which is not empty. Well-formed is the shortest form of a code up to U+10FFFF
/// that is no surrogate (Unicode, table 3-7).
constexpr Character FirstOf(std::string_view inText) {
    const auto byteAt = [inText](std::size_t inIndex) { return static_cast<unsigned char>(inText[inIndex]); };
    const unsigned char lead = byteAt(0);
    if (lead < 0x80) return {lead, 1};
    const Character stray{kStrayBytes + lead, 1};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || inText.size() < bytes) return stray;
    char32_t code = lead & (0x7Fu >> bytes);
    for (std::size_t index = 1; index < bytes; ++index) {
        if ((byteAt(index) & 0xC0) != 0x80) return stray;
        code = code << 6 | (byteAt(index) & 0x3Fu);
    }
    const bool isOverlong = (bytes == 3 && code < 0x800) || (bytes == 4 && code < kSupplementary);
    if (isOverlong || IsHigh(code) || IsLow(code) || code > 0x10FFFF) return stray;
    return {code, bytes};
}

/// Appends one to four bytes: the shortest form of a code up to U+10FFFF, that of a lone surrogate included.
inline void AppendUtf8(std::string& ioText, char32_t inCode) {
    const auto append = [&ioText](char32_t inByte) { ioText += static_cast<char>(inByte); };
    const auto appendTail = [&](int inShift) { append(0x80 | (inCode >> inShift & 0x3F)); };
    if (inCode < 0x80) {
        append(inCode);
    } else if (inCode < 0x800) {
        append(0xC0 | inCode >> 6), appendTail(0);
    } else if (inCode < kSupplementary) {
        append(0xE0 | inCode >> 12), appendTail(6), appendTail(0);
    } else {
        append(0xF0 | inCode >> 18), appendTail(12), appendTail(6), appendTail(0);
    }
}

}  // namespace PathText

/// A path of bytes in UTF-16. FromUtf16Path gives back exactly these bytes. Throws std::bad_alloc.
inline UTF16String ToUtf16Path(std::string_view inPath) {
    UTF16String text;
    text.reserve(inPath.size());
    while (!inPath.empty()) {
        const auto [code, bytes] = PathText::FirstOf(inPath);
        inPath.remove_prefix(bytes);
        if (code < PathText::kSupplementary) {
            text += static_cast<char16_t>(code);
        } else {
            const char32_t offset = code - PathText::kSupplementary;
            text += static_cast<char16_t>(PathText::kHighSurrogates + (offset >> 10));
            text += static_cast<char16_t>(PathText::kLowSurrogates + (offset & 0x3FF));
        }
    }
    return text;
}

/// The bytes of a path in UTF-16: UTF-8, with the lone surrogates U+DC80 to U+DCFF as the bytes that they
/// stand for. Any other lone surrogate is written as if it were a character (three bytes), so that different
/// texts stay different. Throws std::bad_alloc.
inline std::string FromUtf16Path(std::u16string_view inText) {
    std::string path;
    path.reserve(inText.size());
    for (std::size_t at = 0; at < inText.size(); ++at) {
        const char32_t unit = inText[at];
        if (PathText::IsHigh(unit) && at + 1 < inText.size() && PathText::IsLow(inText[at + 1])) {
            const char32_t high = unit - PathText::kHighSurrogates;
            const char32_t low = inText[++at] - PathText::kLowSurrogates;
            PathText::AppendUtf8(path, PathText::kSupplementary + (high << 10) + low);
        } else if (PathText::IsStrayByte(unit)) {
            path += static_cast<char>(unit - PathText::kStrayBytes);
        } else {
            PathText::AppendUtf8(path, unit);
        }
    }
    return path;
}

}  // namespace Vexmora
