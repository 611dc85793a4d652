// A 128-bit identifier and its textual form, as index headers carry it.
//
// Bytes and text run in the same order, no group of them swapped:
//
//     bytes  00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff
//     text   00112233-4455-6677-8899-aabbccddeeff
//
// A host names the content of a media file by one (slot GetMediaIdentity of its IndexLocationTable, as text),
// and the library stores it in the index file (IndexHeader::identity, as bytes): an index of another identity
// is not used.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Pavlin::utility {

/// Sixteen bytes in the order in which their text shows them. A default-constructed Guid is all zero, which
/// names nothing: an index that was made from buffers has it. Any other value is as good as another; no
/// version or variant is looked for. Of its size when stored, and without padding.
struct Guid {
    std::array<std::uint8_t, 16> bytes{};

    friend bool operator==(const Guid&, const Guid&) = default;

    /// Parses the 36-character form "01234567-89ab-cdef-0123-456789abcdef" (either case).
    /// Anything else gives no value: no braces, no spaces, no other dashes, no text behind it.
    static constexpr std::optional<Guid> FromText(std::string_view inText) {
        if (inText.size() != kTextLength) return std::nullopt;
        Guid guid;
        std::size_t at = 0;
        for (std::size_t index = 0; index < guid.bytes.size(); ++index) {
            if (IsAfterDash(index) && inText[at++] != '-') return std::nullopt;
            const int high = HexDigit(inText[at]);
            const int low = HexDigit(inText[at + 1]);
            if (high < 0 || low < 0) return std::nullopt;
            guid.bytes[index] = static_cast<std::uint8_t>(high << 4 | low);
            at += 2;
        }
        return guid;
    }

    /// The 36-character lower-case form that FromText reads; a host's buffer has room for it and a NUL with
    /// 37 bytes. Throws std::bad_alloc.
    std::string ToText() const {
        constexpr char kDigits[] = "0123456789abcdef";
        std::string text;
        text.reserve(kTextLength);
        for (std::size_t index = 0; index < bytes.size(); ++index) {
            if (IsAfterDash(index)) text += '-';
            text += kDigits[bytes[index] >> 4];
            text += kDigits[bytes[index] & 15];
        }
        return text;
    }

    /// Characters of the text, dashes included and without a NUL.
    static constexpr std::size_t kTextLength = 36;

  private:
    // The groups of the text have 4, 2, 2, 2 and 6 bytes.
    static constexpr bool IsAfterDash(std::size_t inIndex) {
        return inIndex == 4 || inIndex == 6 || inIndex == 8 || inIndex == 10;
    }
    // The value of a digit; -1 for what is none.
    static constexpr int HexDigit(char inCharacter) {
        if (inCharacter >= '0' && inCharacter <= '9') return inCharacter - '0';
        if (inCharacter >= 'a' && inCharacter <= 'f') return inCharacter - 'a' + 10;
        if (inCharacter >= 'A' && inCharacter <= 'F') return inCharacter - 'A' + 10;
        return -1;
    }
};

static_assert(sizeof(Guid) == 16);

}  // namespace Pavlin::utility
