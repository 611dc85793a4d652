// A file that comes into being whole or not at all; or standard output.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "files/RecordingFiles.h"
#include "terminal/Interrupt.h"

namespace VexmoraCommand {

/// Written beside its place under a name of its own and put there by Commit: what was there before stays
/// until then, and nothing is left of a file that is not committed, nor when a signal asks the process to
/// end.
class OutputFile {
  public:
    /// @param inPath "-" for standard output. @param inSource what is read meanwhile. Throws CommandError:
    /// Usage when inPath is one of its files or a terminal would be written to, else Failed.
    OutputFile(const std::string& inPath, const RecordingFiles& inSource);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Throws CommandError (Failed), Interrupted, and OutputClosed when the reader of standard output is
    /// gone.
    void Write(const void* inData, std::size_t inBytes);
    void Write(std::string_view inText) { Write(inText.data(), inText.size()); }
    /// Hands everything to the system and gives the file its name. Throws as Write does.
    void Commit();

    bool IsStandardOutput() const { return mPath == "-"; }

  private:
    [[noreturn]] void ThrowLastError() const;

    InterruptGuard mInterrupt;  // the first member: until the others are gone
    const std::string mPath;
    const std::string mSource;
    std::string mTemporary;  // empty when there is none to be removed
    std::FILE* mStream = nullptr;
};

}  // namespace VexmoraCommand
