// Paths as the library's interface spells them.
#pragma once

#include <filesystem>
#include <string_view>

#include "Vexmora/UTF16String.h"

namespace VexmoraHost {

/// inPath in UTF-16. Bytes that are not part of well-formed UTF-8 become the lone surrogates U+DC80 to
/// U+DCFF, so that FromInterfacePath gives back every path exactly.
UTF16String ToInterfacePath(const std::filesystem::path& inPath);

/// The path that inText spells: UTF-8, with the lone surrogates U+DC80 to U+DCFF as the bytes they stand for.
/// Any other lone surrogate is written as if it were a character.
std::filesystem::path FromInterfacePath(std::u16string_view inText);

}  // namespace VexmoraHost
