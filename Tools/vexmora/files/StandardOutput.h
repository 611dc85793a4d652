// Standard output whose failures are noticed: a full disk never passes for success.
#pragma once

#include <string>
#include <string_view>

namespace VexmoraCommand {

/// Thrown when whoever read standard output has closed it: no reason for a message, but for stopping.
struct OutputClosed {};

/// Whether standard output goes to the file inPath.
bool IsStandardOutput(const std::string& inPath);

/// Writes text; throws CommandError, or OutputClosed when the reader is gone.
void WriteOutput(std::string_view inText);

/// Writes a line of a report, in columns: what something is called, and what it is. Throws as WriteOutput
/// does.
void WriteField(std::string_view inName, std::string_view inValue);

/// Hands everything written so far to the system; throws as WriteOutput does. Call it before saying "done".
void FlushOutput();

}  // namespace VexmoraCommand
