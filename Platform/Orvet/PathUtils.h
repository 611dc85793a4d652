// Paths as UTF-16 strings, and their conversion from and to the byte strings that Linux uses.
#pragma once

#include <string>
#include <string_view>

#include "Vexmora/UTF16String.h"

namespace Orvet::PathUtils {

/// The bytes of inPath as UTF-16, see Vexmora::ToUtf16Path; ToNative gives them back.
UTF16String FromNative(std::string_view inPath);

std::string ToNative(const UTF16String& inPath);

/// inPath ending in a separator; an empty path, which means the current folder, stays empty.
UTF16String AddTrailingSlash(const UTF16String& inPath);

/// What follows the last separator: the whole path when there is none, nothing when it ends in one.
UTF16String GetFilePart(const UTF16String& inPath);

/// The form in which paths are handed to File. Linux has no long-path form: the path itself.
UTF16String ToNormalizedPath(const UTF16String& inPath);

/// Whether inPath carries the prefix of the long-path form; never on Linux.
bool IsNormalizedPath(const UTF16String& inPath);

/// inPath if no file has that name, else with " (2)", " (3)", … put before the extension of its file part,
/// the first that none has. A leading dot begins no extension. Another process may take the name meanwhile:
/// create the file with FileDisposition::CreateNew.
UTF16String MakeUniqueFilename(const UTF16String& inPath);

namespace Win {
/// inPath without the prefix of the long-path form: the path itself on Linux.
UTF16String StripUNC(const UTF16String& inPath);
}  // namespace Win

}  // namespace Orvet::PathUtils
